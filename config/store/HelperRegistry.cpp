#include "HelperRegistry.h"

#include <array>

namespace wdlt {
namespace {

// Constant-initialised, so that it is there before the first registration of any source file.
constinit std::array<HelperMaker, static_cast<std::size_t>(HelperKind::Count)> g_makers{};

} // namespace

void registerHelper(HelperKind kind, HelperMaker maker) {
    g_makers.at(static_cast<std::size_t>(kind)) = maker;
}

std::unique_ptr<WdchHelper> makeHelper(HelperKind kind) {
    const HelperMaker maker = g_makers.at(static_cast<std::size_t>(kind));
    return maker == nullptr ? nullptr : maker();
}

} // namespace wdlt

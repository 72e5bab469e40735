#include "LibraryStatus.h"

#include "ToolError.h"

#include <fmt/format.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

bool isInstalled() {
    WdchSystemData system{};
    std::uint64_t size = sizeof system;
    return WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, &system, &size) == WDLT_OK &&
           system.installPath[0] != '\0';
}

} // namespace

void checkStatus(std::int32_t status, std::string_view detail) {
    if (status >= WDLT_OK)
        return;
    const char* words = wdltStatusText(status);
    throw ToolError(ExitStatus::Failure,
                    fmt::format("status {} ({}){}{}{}", status, words != nullptr ? words : "unknown",
                                detail.empty() ? "" : ": ", detail,
                                isInstalled() ? "" : "; nothing is laid down here, wdltctl init does that"));
}

} // namespace wdlt

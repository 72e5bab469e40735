#include "ListFile.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace wdlt {
namespace {

constexpr DWORD kMostValueBytes = 261;

} // namespace

std::int32_t findListFile(WdchHelper& helper, const ListFileReport& report, const ListFileName& name,
                          std::string& path) {
    std::array<char, kMostValueBytes> value{};
    DWORD size = kMostValueBytes;
    if (const std::int32_t status = helper.ReadItem("", name.item, value.data(), &size, false); status != WDLT_OK) {
        if (name.defaultName == nullptr) {
            report.valueUnread.tell(kLogError, {name.item}, {status});
            return status;
        }
        report.defaultUsed.tell(kLogTrace, {name.defaultName}, {});
        value.fill('\0');
        std::copy_n(name.defaultName, strnlen(name.defaultName, value.size() - 1), value.begin());
    }
    if (!name.isPath)
        WdchHelper::StripPath(value.data(), value.size());
    path = helper.GetInstallPath();
    if (path.empty()) {
        report.noInstallPath.tell(kLogError, {}, {});
        return WDLT_E_GENERAL;
    }
    path.append(value.data(), strnlen(value.data(), value.size()));
    return WDLT_OK;
}

std::uint32_t listTypeOf(const void* record) {
    std::uint32_t type = 0;
    std::memcpy(&type, record, sizeof type);
    return type;
}

} // namespace wdlt

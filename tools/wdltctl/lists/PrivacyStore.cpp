#include "PrivacyStore.h"

#include "LibraryStatus.h"

#include <wdltcfg/wdltcfg.h>

namespace wdlt {

std::vector<char> readPrivacy(std::uint64_t configType) {
    std::vector<char> bytes;
    std::int32_t status = WDLT_E_BUFFER_SIZE;
    std::uint64_t size = 0;
    // The list may grow between the size query and the read.
    while (status == WDLT_E_BUFFER_SIZE) {
        bytes.resize(size);
        size = bytes.size();
        status = WdltReadConfig(WDLT_PROTOCOL_COMMON, WDLT_SCAN_PRIVACY, configType,
                                bytes.empty() ? nullptr : bytes.data(), &size);
    }
    checkStatus(status, configType == WDLT_CONFIG_PRIVACY_EXCLUSIONS ? "privacy exclusions" : "privacy items");
    bytes.resize(size);
    return bytes;
}

} // namespace wdlt

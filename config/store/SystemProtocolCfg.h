// The record of a protocol handler, WdchSystemProtocolHandler with its redirects, at (10000 + p, 0, any). Redirects
// change one by one, by config types of their own, and the running service isn't notified of them.
#pragma once

#include "WdchHelper.h"

class CSystemProtocolCfg final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    // WDLT_E_BUFFER_SIZE for any other size, with the size needed, which depends on the number of redirects;
    // WDLT_E_GENERAL without data.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    // WDLT_CONFIG_DEFAULT writes the handler's own values, WDLT_CONFIG_REDIRECT_ADD and _DELETE one redirect.
    // WDLT_E_INVALID_ARGUMENT for any other type and without data, WDLT_E_GENERAL for a wrong size.
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

    // The scan bits whose items are on; the HTTP file scan counts as the virus scan of HTTP.
    DWORD GetDependentScanEngine();

  private:
    [[nodiscard]] std::int32_t writeHandler(void* data, std::uint64_t size);
    bool isFileScanOn();
};

// The mail manager's settings, and access to the address cache (AddressCache.h).
#pragma once

#include "WdchHelper.h"

#include <string>

class CManagerMailCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

    [[nodiscard]] std::int32_t GetAddressCacheFilePath(std::string& path);

  private:
    [[nodiscard]] std::int32_t readSettings(void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t writeSettings(void* data, std::uint64_t size);

    // `data` is the count, then the records. A read with too little room returns WDLT_E_BUFFER_SIZE and the size
    // needed; WDLT_E_FILE_NOT_FOUND while there is no file. A write that fails leaves the file as it was.
    [[nodiscard]] std::int32_t ReadConfigAddressCache(void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t WriteConfigAddressCache(const void* data, std::uint64_t size);
    [[nodiscard]] std::int32_t readMaxCount(DWORD& count);
};

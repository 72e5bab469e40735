// The mail manager's settings, and the address cache: a small protected file of address records.
#pragma once

#include "BufferedFile.h"
#include "StoreMutex.h"
#include "WdchHelper.h"

#include <string>

class CManagerMailCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

    // The mutex of the address cache, held for the whole of a read and for the copy at the end of a write. Both go on
    // without it when it isn't to be had: true only when this object has just got it.
    bool Lock();
    void Unlock() { m_mutex.release(); }

    std::int32_t GetAddressCacheFilePath(std::string& path);
    // At the start of the file. The header that was written is in it.
    static std::int32_t ReadAddressCacheDBHeader(wdlt::BufferedFile& file, DWORD& count);
    static std::int32_t WriteAddressCacheDBHeader(wdlt::BufferedFile& file, DWORD count);

  private:
    std::int32_t readSettings(void* data, std::uint64_t* size);
    std::int32_t writeSettings(void* data, std::uint64_t size);

    // `data` is the count, then the records. A read that has less room gives WDLT_E_BUFFER_SIZE and the size;
    // WDLT_E_FILE_NOT_FOUND while there is no file. A write replaces the file, or leaves it as it was.
    std::int32_t ReadConfigAddressCache(void* data, std::uint64_t* size);
    std::int32_t WriteConfigAddressCache(const void* data, std::uint64_t size);
    std::int32_t readMaxCount(DWORD& count);

    wdlt::StoreMutex m_mutex;
};

// The mail addresses that the service remembers: a small protected file of records. It is made of the same parts as the
// other stores, but its passes differ: its lock is best effort, and a caller's room may be of any size.
#pragma once

#include "BufferedFile.h"
#include "ListBuffer.h"
#include "StoreMutex.h"

#include <wdltcfg/records.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace wdlt {

class AddressCache {
  public:
    static constexpr std::size_t kHeadBytes = sizeof(MailAddressListHead);
    static constexpr DWORD kRecordBytes = sizeof(MailAddressRecord);
    // Of a list, with its count in front.
    static constexpr std::uint64_t bytesOf(DWORD count) { return listBytes(kHeadBytes, count, kRecordBytes); }

    // `data` is the count, then the records, at most `maxCount`. Less room than they take gives WDLT_E_BUFFER_SIZE and the
    // size; WDLT_E_FILE_NOT_FOUND while there is no file.
    [[nodiscard]] std::int32_t Read(const std::string& path, DWORD maxCount, void* data, std::uint64_t* size);
    // Replaces the file, or leaves it as it was. `data` has its whole size.
    [[nodiscard]] std::int32_t Write(const std::string& path, const std::string& tempPath, const void* data,
                                     DWORD count);

  private:
    class Locked;

    // Held for the whole of a read and for the copy at the end of a write. Both go on without it when it can't be taken.
    void Lock();
    void Unlock() { m_mutex.release(); }
    // At the start of the file. The header that was written is in it.
    [[nodiscard]] static std::int32_t ReadAddressCacheDBHeader(BufferedFile& file, DWORD& count);
    [[nodiscard]] static std::int32_t WriteAddressCacheDBHeader(BufferedFile& file, DWORD count);

    StoreMutex m_mutex;
};

} // namespace wdlt

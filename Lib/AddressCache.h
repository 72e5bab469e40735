// The mail addresses that the service remembers: a small protected file of records. It is built of the same parts as
// the other stores, but reads and writes differ: its lock is best effort, and the caller's buffer may have any size.
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
    // Size of a list, its count included.
    static constexpr std::uint64_t bytesOf(DWORD count) { return listBytes(kHeadBytes, count, kRecordBytes); }

    // `data` gets the count, then the records, at most `maxCount`. WDLT_E_BUFFER_SIZE, with the size needed in `*size`,
    // when the buffer is too small; WDLT_E_FILE_NOT_FOUND when there is no file.
    [[nodiscard]] std::int32_t Read(const std::string& path, DWORD maxCount, void* data, std::uint64_t* size);
    // Replaces the file, or leaves it as it was. `data` is a head, then `count` records.
    [[nodiscard]] std::int32_t Write(const std::string& path, const std::string& tempPath, const void* data,
                                     DWORD count);

  private:
    class Locked;

    // Held for all of a read and for the copy at the end of a write. Both go on without it when it can't be taken.
    void Lock();
    void Unlock() { m_mutex.release(); }
    // Both start at the beginning of the file. A header is flushed as it is written.
    [[nodiscard]] static std::int32_t ReadAddressCacheDBHeader(BufferedFile& file, DWORD& count);
    [[nodiscard]] static std::int32_t WriteAddressCacheDBHeader(BufferedFile& file, DWORD count);

    StoreMutex m_mutex;
};

} // namespace wdlt

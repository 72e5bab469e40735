// The steps that all record files share: opening a file, creating the temporary file that replaces it, and the header
// of GUID, version and count. Results say which step failed; the stores give the statuses and log lines.
#pragma once

#include <platform/win32.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

namespace wdlt {

struct OpenedFile {
    enum class Outcome { Opened, NoName, NotOpened, NotSought };

    Outcome outcome = Outcome::Opened;
    HANDLE handle = INVALID_HANDLE_VALUE; // the caller closes it, when it was opened
    std::string name;
    unsigned long error = 0; // the last error of the call that failed
};

// `share` is what other users of the file may do meanwhile.
OpenedFile openStoreFile(const char* name, DWORD share);
// Creates a new file, empty and open for writing, with no sharing. On failure no file is left behind.
OpenedFile makeTempFile(const std::string& folder, const char* prefix);

inline constexpr DWORD kGuidBytes = 32;

// The header that a store expects. The GUID has kGuidBytes bytes and may lack a terminator.
struct StoreHeader {
    const char* guid;
    DWORD version;
};

struct HeaderFault {
    enum class Kind { None, Guid, ForeignGuid, Version, ForeignVersion, Count };

    Kind kind = Kind::None;
    std::int32_t status = 0; // of the field that couldn't be read or written
    DWORD version = 0;       // the one found, when it is foreign
};

// `readField(field, bytes)` returns a status, 0 for success, and may leave the field unchanged.
template <class ReadField>
HeaderFault readStoreHeader(const StoreHeader& header, DWORD& count, ReadField&& readField) {
    using enum HeaderFault::Kind;
    std::array<char, kGuidBytes> guid{};
    if (const std::int32_t status = readField(guid.data(), kGuidBytes); status != 0)
        return {Guid, status};
    if (std::memcmp(guid.data(), header.guid, kGuidBytes) != 0)
        return {ForeignGuid};
    DWORD version = 0;
    if (const std::int32_t status = readField(&version, DWORD{sizeof version}); status != 0)
        return {Version, status};
    if (version != header.version)
        return {ForeignVersion, 0, version};
    if (const std::int32_t status = readField(&count, DWORD{sizeof count}); status != 0)
        return {Count, status};
    return {};
}

// `writeField(field, bytes)` returns a status, 0 for success.
template <class WriteField>
HeaderFault writeStoreHeader(const StoreHeader& header, DWORD count, WriteField&& writeField) {
    using enum HeaderFault::Kind;
    if (const std::int32_t status = writeField(header.guid, kGuidBytes); status != 0)
        return {Guid, status};
    if (const std::int32_t status = writeField(&header.version, DWORD{sizeof header.version}); status != 0)
        return {Version, status};
    if (const std::int32_t status = writeField(&count, DWORD{sizeof count}); status != 0)
        return {Count, status};
    return {};
}

} // namespace wdlt

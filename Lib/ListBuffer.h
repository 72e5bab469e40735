// The layout of a caller's list: a head that ends with the count of records, then slots of one size. It may be
// unaligned.
#pragma once

#include <platform/base.h>
#include <wdltcfg/status.h>

#include <cstdint>
#include <cstring>

namespace wdlt {

// Head with the list's type and the count, or with the count alone.
inline constexpr std::size_t kTypedHeadBytes = 8;
inline constexpr std::size_t kPlainHeadBytes = 4;

// Size of a list of `maximum` slots.
constexpr std::uint64_t listBytes(std::size_t headBytes, DWORD maximum, std::size_t slotBytes) {
    return headBytes + std::uint64_t{maximum} * slotBytes;
}

inline std::int32_t checkListToRead(const void* buffer, std::uint64_t* size, std::uint64_t listSize) {
    if (size == nullptr)
        return WDLT_E_GENERAL;
    if (*size < listSize) {
        *size = listSize;
        return WDLT_E_BUFFER_SIZE;
    }
    return buffer == nullptr ? WDLT_E_GENERAL : WDLT_OK;
}

inline std::int32_t checkListToWrite(const void* buffer, const std::uint64_t* size, std::uint64_t listSize) {
    if (size == nullptr || *size != listSize)
        return WDLT_E_INVALID_ARGUMENT;
    return buffer == nullptr ? WDLT_E_GENERAL : WDLT_OK;
}

// The count is the last four of the head's `headBytes`.
inline DWORD loadCount(const void* head, std::size_t headBytes) {
    DWORD count = 0;
    std::memcpy(&count, static_cast<const std::uint8_t*>(head) + headBytes - sizeof count, sizeof count);
    return count;
}

inline void storeCount(void* head, std::size_t headBytes, DWORD count) {
    std::memcpy(static_cast<std::uint8_t*>(head) + headBytes - sizeof count, &count, sizeof count);
}

} // namespace wdlt

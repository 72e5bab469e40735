// How the families read and write their records: a whole record of one address, with texts copied within their fields.
#pragma once

#include "CfgHelper.h"
#include "FamilyCall.h"
#include "Pair.h"
#include "Wiped.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <utility>

namespace wdlt {

struct Address {
    std::uint32_t protocol;
    std::uint32_t scan;
    std::uint64_t configType;
    std::uint32_t input = 0;
};

// A caller's record may be unaligned.
template <class Record>
Record copyOf(const Record* callers) {
    Record record;
    std::memcpy(&record, callers, sizeof record);
    return record;
}

template <class Record>
void handOver(Record* callers, const Record& record) {
    std::memcpy(callers, &record, sizeof record);
}

// `failed` reports a failed read, which leaves the record as it was.
template <class Record>
[[nodiscard]] std::int32_t readWhole(CCfgHelper& family, const Address& address, Record& record,
                                     const CallFailure& failed) {
    CCfgData cfgData(address.protocol, address.scan, address.input, address.configType);
    const std::int32_t status = family.Read(cfgData, sizeof record, nullptr);
    if (status != WDLT_OK) {
        failed.tell(status);
        return status;
    }
    std::memcpy(&record, cfgData.GetData(), sizeof record);
    return WDLT_OK;
}

// `unset` reports that there was no memory for the bytes, `failed` that they weren't written.
[[nodiscard]] inline std::int32_t writeBytes(CCfgHelper& family, const Address& address, const void* bytes,
                                             std::uint64_t size, const CallFailure& unset, const CallFailure& failed) {
    CCfgData cfgData(address.protocol, address.scan, address.input, address.configType);
    if (const std::int32_t status = cfgData.SetData(bytes, size); status != WDLT_OK) {
        unset.tell(status);
        return status;
    }
    const std::int32_t status = family.Write(cfgData);
    if (status != WDLT_OK)
        failed.tell(status);
    return status;
}

// Replaces the stored list with `count` records of a list type; `unset` and `failed` as above, `outOfMemory` before
// `unset`.
template <class List, class Record>
[[nodiscard]] std::int32_t writeList(CCfgHelper& family, const Address& address, std::uint32_t listType,
                                     const Record* records, std::int32_t count, const CallFailure& unset,
                                     const CallFailure& failed, const EventLine& outOfMemory = {}) {
    CCfgData cfgData(address.protocol, address.scan, address.input, address.configType);
    std::unique_ptr<BYTE[]> list(new (std::nothrow) BYTE[sizeof(List)]);
    if (list == nullptr) {
        outOfMemory.tell(kLogError, WDLT_E_NO_MEMORY);
        unset.tell(WDLT_E_NO_MEMORY);
        return WDLT_E_NO_MEMORY;
    }
    std::memset(&list[0], 0, offsetof(List, records));
    std::memcpy(&list[offsetof(List, dwListType)], &listType, sizeof listType);
    std::memcpy(&list[offsetof(List, dwNumOfRecords)], &count, sizeof count);
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(Record);
    BYTE* const first = &list[offsetof(List, records)];
    if (bytes != 0)
        std::memcpy(first, records, bytes);
    std::memset(first + bytes, 0, sizeof(List) - offsetof(List, records) - bytes); // a megabyte is cleared only once
    cfgData.TakeData(std::move(list), sizeof(List));
    const std::int32_t status = family.Write(cfgData);
    if (status != WDLT_OK)
        failed.tell(status);
    return status;
}

// Reads the stored record, overlays the caller's fields and writes it back, so that what the caller doesn't have stays
// as stored. Fails if the stored record can't be read.
template <class Record, class Overlay>
[[nodiscard]] std::int32_t writeOver(CCfgHelper& family, const Address& address, Overlay&& overlay,
                                     const CallFailure& unread, const CallFailure& unwritten) {
    Wiped<Record> record;
    if (const std::int32_t status = readWhole(family, address, *record, unread); status != WDLT_OK)
        return status;
    overlay(*record);
    return writeBytes(family, address, &*record, sizeof *record, unwritten, unwritten);
}

// Copies what fits into both fields with its terminator, and clears the rest of the field. A text without a terminator
// gets none in the other field either, so that the helper refuses it.
inline void copyText(std::span<char> to, std::span<const char> from) {
    const std::size_t length = strnlen(from.data(), from.size());
    const bool isTerminated = length < from.size();
    const std::size_t kept = std::min(length, isTerminated ? to.size() - 1 : to.size());
    std::memcpy(to.data(), from.data(), kept);
    std::ranges::fill(to.subspan(kept), isTerminated ? '\0' : from.back());
}

inline void copyField(bool isText, std::span<char> to, std::span<const char> from) {
    if (isText)
        copyText(to, from);
    else
        std::memcpy(to.data(), from.data(), to.size());
}

template <class Exported, class Stored, std::size_t Count>
void toCaller(const PairOf<Exported, Stored> (&pairs)[Count], Exported& exported, const Stored& stored) {
    auto* const to = reinterpret_cast<char*>(&exported);
    const auto* const from = reinterpret_cast<const char*>(&stored);
    for (const auto& pair : pairs)
        copyField(pair.isText, {to + pair.exportedAt, pair.exportedBytes}, {from + pair.storedAt, pair.storedBytes});
}

template <class Exported, class Stored, std::size_t Count>
void toStore(const PairOf<Exported, Stored> (&pairs)[Count], const Exported& exported, Stored& stored) {
    const auto* const from = reinterpret_cast<const char*>(&exported);
    auto* const to = reinterpret_cast<char*>(&stored);
    for (const auto& pair : pairs)
        copyField(pair.isText, {to + pair.storedAt, pair.storedBytes}, {from + pair.exportedAt, pair.exportedBytes});
}

// Copies as many of the `stored` records as the caller has room for; with null records, only sets their number.
template <class Record>
void takeSome(std::int32_t stored, const BYTE* first, Record* records, std::int32_t* count, FamilyCall& call) {
    if (records == nullptr) {
        *count = stored;
        call.endWithCount(stored);
        return;
    }
    *count = std::min(*count, stored);
    if (*count > 0)
        std::memcpy(records, first, static_cast<std::size_t>(*count) * sizeof(Record));
}

// Reads a list and does the same with its records. It is asked for with a zeroed head: a list with a type gets type 0.
template <class List, class Record>
[[nodiscard]] std::int32_t readSome(CCfgHelper& family, const Address& address, Record* records, std::int32_t* count,
                                    FamilyCall& call, const CallFailure& failed) {
    if (count == nullptr)
        return call.withoutRecords();
    CCfgData cfgData(address.protocol, address.scan, address.input, address.configType);
    if (const std::int32_t status = family.Read(cfgData, sizeof(List), nullptr); status != WDLT_OK) {
        failed.tell(status);
        return status;
    }
    std::int32_t stored = 0;
    std::memcpy(&stored, cfgData.GetData() + offsetof(List, dwNumOfRecords), sizeof stored);
    takeSome(stored, cfgData.GetData() + offsetof(List, records), records, count, call);
    return WDLT_OK;
}

} // namespace wdlt

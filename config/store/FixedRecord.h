// What records of one size each have in common that are no more than their rows.
#pragma once

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <cstddef>
#include <cstdint>

namespace wdlt {

// What a read is refused with. The size comes first, so that one without data can ask for it: WDLT_E_BUFFER_SIZE with
// the size that the record has. Then the data: `withoutData`, and a line.
inline std::int32_t checkFixedRead(std::uint64_t needed, const void* data, std::uint64_t* size,
                                   std::int32_t withoutData) {
    if (*size != needed) {
        *size = needed;
        return WDLT_E_BUFFER_SIZE;
    }
    if (data == nullptr) {
        WDLOG_ERROR("data is NULL");
        return withoutData;
    }
    return WDLT_OK;
}

// WDLT_E_GENERAL without data; else what the rows give.
template <class Record, std::size_t Count>
std::int32_t readFixedRecord(const ValueAccess& access, const FieldOf<Record> (&rows)[Count], void* data,
                             std::uint64_t* size) {
    if (const std::int32_t status = checkFixedRead(sizeof(Record), data, size, WDLT_E_GENERAL); status != WDLT_OK)
        return status;
    CallersRecord<Record> record(data);
    record.clear();
    return readValues(access, rows, *record);
}

// WDLT_E_GENERAL, without a line, for anything but a whole record.
template <class Record, std::size_t Count>
std::int32_t writeFixedRecord(const ValueAccess& access, const FieldOf<Record> (&rows)[Count], void* data,
                              std::uint64_t size) {
    if (data == nullptr || size != sizeof(Record))
        return WDLT_E_GENERAL;
    CallersRecord<Record> record(data);
    return writeValues(access, rows, *record);
}

} // namespace wdlt

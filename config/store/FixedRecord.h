// Fixed-size records: what a helper checks before it reads or writes one, and what it returns if a check fails, as a
// table.
#pragma once

#include "ValueMap.h"
#include "WdCommon/EventLine.h"

#include <wdltcfg/status.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace wdlt {

struct RecordFrame {
    enum class First : std::uint8_t { Data, Size }; // Size: a caller without data learns the size
    enum class Fits : std::uint8_t { Exactly, Larger };

    First readFirst = First::Data;
    Fits readFits = Fits::Exactly; // Larger: the caller's whole buffer is cleared
    std::int32_t noDataRead = WDLT_E_INVALID_ARGUMENT;
    std::int32_t wrongSizeRead = WDLT_E_BUFFER_SIZE; // this one also stores the size needed
    Fits writeFits = Fits::Exactly;
    std::int32_t noDataWritten = WDLT_E_INVALID_ARGUMENT;
    std::int32_t wrongSizeWritten = WDLT_E_INVALID_ARGUMENT;

    EventLine noDataReadLine = {};
    EventLine wrongSizeReadLine = {};
    EventLine noDataWrittenLine = {};
    EventLine wrongSizeWrittenLine = {}; // the size, and what it should be
};

// WDLT_OK when a record of `needed` bytes can be read or written; else the frame's code.
[[nodiscard]] std::int32_t checkRead(const RecordFrame& frame, std::uint64_t needed, void* data, std::uint64_t* size);
[[nodiscard]] std::int32_t checkWrite(const RecordFrame& frame, std::uint64_t needed, const void* data,
                                      std::uint64_t size);

template <class Record, std::size_t Count>
[[nodiscard]] std::int32_t readRecord(const RecordFrame& frame, const ValueAccess& access,
                                      const FieldOf<Record> (&rows)[Count], void* data, std::uint64_t* size) {
    if (const std::int32_t status = checkRead(frame, sizeof(Record), data, size); status != WDLT_OK)
        return status;
    CallersRecord<Record> record(data);
    record.clear();
    return readValues(access, rows, *record);
}

// `rows`: the record's rows, or some of them, or in another order.
template <class Record, class Rows>
[[nodiscard]] std::int32_t writeRecord(const RecordFrame& frame, const ValueAccess& access, const Rows& rows,
                                       void* data, std::uint64_t size) {
    if (const std::int32_t status = checkWrite(frame, sizeof(Record), data, size); status != WDLT_OK)
        return status;
    CallersRecord<Record> record(data);
    return writeValues(access, rows, *record);
}
template <class Record, std::size_t Count>
[[nodiscard]] std::int32_t writeRecord(const RecordFrame& frame, const ValueAccess& access,
                                       const FieldOf<Record> (&rows)[Count], void* data, std::uint64_t size) {
    return writeRecord<Record>(frame, access, std::span(rows), data, size);
}

} // namespace wdlt

#include "FixedRecord.h"

#include "Utility.h"

#include <cstring>

namespace wdlt {
namespace {

bool fits(RecordFrame::Fits fits, std::uint64_t needed, std::uint64_t size) {
    return size == needed || (fits == RecordFrame::Fits::Larger && size > needed);
}

std::int32_t refuse(const EventLine& line, std::int32_t status) {
    line.tell(kLogError, status);
    return status;
}

} // namespace

std::int32_t checkRead(const RecordFrame& frame, std::uint64_t needed, void* data, std::uint64_t* size) {
    if (frame.readFirst == RecordFrame::First::Data && data == nullptr)
        return refuse(frame.noDataReadLine, frame.noDataRead);
    if (!fits(frame.readFits, needed, *size)) {
        if (frame.wrongSizeRead == WDLT_E_BUFFER_SIZE)
            *size = needed;
        return refuse(frame.wrongSizeReadLine, frame.wrongSizeRead);
    }
    if (data == nullptr)
        return refuse(frame.noDataReadLine, frame.noDataRead);
    if (frame.readFits == RecordFrame::Fits::Larger)
        std::memset(data, 0, *size);
    return WDLT_OK;
}

std::int32_t checkWrite(const RecordFrame& frame, std::uint64_t needed, const void* data, std::uint64_t size) {
    if (data == nullptr)
        return refuse(frame.noDataWrittenLine, frame.noDataWritten);
    if (fits(frame.writeFits, needed, size))
        return WDLT_OK;
    frame.wrongSizeWrittenLine.tell(kLogError, {}, {loggedSize(size), loggedSize(needed)});
    return frame.wrongSizeWritten;
}

} // namespace wdlt

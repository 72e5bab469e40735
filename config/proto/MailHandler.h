// What the handlers of POP3 and SMTP have in common. Only their reads differ in what they look at first.
#pragma once

#include "Utility.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstddef>
#include <cstdint>

namespace wdlt {

// WDLT_E_INVALID_ARGUMENT for anything but a whole record.
template <class Record, std::size_t Count>
std::int32_t writeMailHandler(const ValueAccess& access, const FieldOf<Record> (&rows)[Count], void* data,
                              std::uint64_t size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    if (size != sizeof(Record)) {
        WDLOG_ERROR("[WdltCfg.dll] WriteConfig size is invalid (%d / %d)", loggedSize(size),
                    loggedSize(sizeof(Record)));
        return WDLT_E_INVALID_ARGUMENT;
    }
    CallersRecord<Record> record(data);
    return writeValues(access, rows, *record);
}

} // namespace wdlt

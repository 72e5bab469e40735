#include "SystemConfig.h"

#include "FixedRecord.h"
#include "SystemRecords.h"
#include "ValueMap.h"

#include <wdltcfg/status.h>

#include <string>
#include <vector>

namespace {

using namespace wdlt;

constexpr ValueReport kSystemReport{
    .writeFailed = "WriteConfig WdchSystemData::%s fails.",
    .writeCode = WDLT_E_GENERAL,
};

constexpr RecordFrame kSystemFrame{
    .readFirst = RecordFrame::First::Size,
    .wrongSizeWritten = WDLT_E_GENERAL,
    .wrongSizeWrittenLine = "WriteConfig size is invalid (%d / %d)",
};

constexpr const char* kHandlerFolder = "ProtocolHandler";
constexpr std::size_t kMaxHandlers = std::extent_v<decltype(WdchSystemData::handlerTypes)>;
constexpr DWORD kHighestHandlerType = 16;

} // namespace

std::int32_t CSystemConfig::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (const std::int32_t status = checkRead(kSystemFrame, sizeof(WdchSystemData), data, size); status != WDLT_OK)
        return status;
    CallersRecord<WdchSystemData> record(data);
    record.clear();
    const ValueAccess access{*this, kSystemReport};
    static_cast<void>(readValues(access, kSystemFields, *record)); // each row has a default
    readHandlerList(*record);
    static_cast<void>(readValues(access, kSystemReadOnlyFields, *record));
    return WDLT_OK;
}

void CSystemConfig::readHandlerList(WdchSystemData& record) {
    std::vector<std::string> handlers;
    static_cast<void>(store->EnumSubSections(protocol, scan, input, kHandlerFolder, handlers)); // partial on failure
    for (const std::string& handler : handlers) {
        const std::string section = std::string(kHandlerFolder).append("\\").append(handler);
        DWORD enable = 0;
        DWORD type = 0;
        if (!readHandlerNumber(section, "Enable", enable) || enable != 1)
            continue;
        if (!readHandlerNumber(section, "Type", type) || type == 0 || type > kHighestHandlerType)
            continue;
        record.handlerTypes[record.handlerCount++] = type;
        if (record.handlerCount == kMaxHandlers)
            return;
    }
}

bool CSystemConfig::readHandlerNumber(const std::string& section, const char* name, DWORD& number) {
    DWORD size = sizeof number;
    return ReadItem(section.c_str(), name, &number, &size, false) == WDLT_OK;
}

std::int32_t CSystemConfig::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kSystemFrame, {*this, kSystemReport}, kSystemFields, data, size);
}

#include "SystemConfig.h"

#include "SystemRecords.h"
#include "Utility.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <string>
#include <vector>

namespace {

using namespace wdlt;

constexpr ValueReport kReport{
    .writeFailed = [](const char* field, std::int32_t) { WDLOG_ERROR("WriteConfig WdchSystemData::%s fails.", field); },
    .writeCode = WDLT_E_GENERAL,
};

constexpr const char* kHandlers = "ProtocolHandler";
constexpr std::size_t kMaxHandlers = std::extent_v<decltype(WdchSystemData::handlerTypes)>;
constexpr DWORD kHighestHandlerType = 16;

} // namespace

std::int32_t CSystemConfig::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (*size != sizeof(WdchSystemData)) {
        *size = sizeof(WdchSystemData);
        return WDLT_E_BUFFER_SIZE;
    }
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;

    CallersRecord<WdchSystemData> record(data);
    record.clear();
    const ValueAccess access{*this, kReport};
    readValues(access, kSystemFields, *record);
    readHandlerList(*record);
    readValues(access, kSystemReadOnlyFields, *record);
    return WDLT_OK;
}

void CSystemConfig::readHandlerList(WdchSystemData& record) {
    std::vector<std::string> handlers;
    store->EnumSubSections(protocol, scan, input, kHandlers, handlers);
    for (const std::string& handler : handlers) {
        const std::string section = std::string(kHandlers).append("\\").append(handler);
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
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    if (size != sizeof(WdchSystemData)) {
        WDLOG_ERROR("WriteConfig size is invalid (%d / %d)", loggedSize(size), loggedSize(sizeof(WdchSystemData)));
        return WDLT_E_GENERAL;
    }
    CallersRecord<WdchSystemData> record(data);
    return writeValues({*this, kReport}, kSystemFields, *record);
}

#include "CfgHelper.h"

#include "FeatureSwitch.h"
#include "Mutex.h"
#include "ObjectName.h"
#include "SyncSender.h"
#include "Waits.h"
#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

// Scan items that hold a handler on.
constexpr std::uint32_t kItemsThatNeedTheHandler = 0xFFFF;

// A copy of what stands first in the bytes that were read, and back.
template <class Record>
Record recordOf(const CCfgData& cfgData) {
    Record record{};
    std::memcpy(&record, cfgData.GetData(), sizeof record);
    return record;
}
template <class Record>
void putBack(const Record& record, CCfgData& cfgData) {
    std::memcpy(cfgData.GetData(), &record, sizeof record);
}

bool agrees(std::uint32_t stored, std::int32_t wanted) {
    return (stored != 0) == (wanted != 0);
}

// The action's memory: what the service reads, and the word that it answers in.
struct ActionMemory {
    std::int32_t reply;
    CCfgHelper::Action action;
};
static_assert(sizeof(ActionMemory) == 20);

} // namespace

std::int32_t CCfgHelper::Initialize(CCfgIF* cfgIF) {
    if (cfgIF == nullptr) {
        WDLOG_ERROR("Invalid CCfg argument");
        return WDLT_E_INVALID_ARGUMENT;
    }
    return m_cfg.SetInterface(cfgIF);
}

std::int32_t CCfgHelper::EnableItem(std::int32_t enable, std::uint32_t protocol, std::uint32_t scan,
                                    std::uint32_t input) {
    return scan != WDLT_SCAN_NONE ? EnableScanEngine(enable, protocol, scan, input)
                                  : EnableProtocolHandler(enable, protocol);
}

std::int32_t CCfgHelper::IsItemEnabled(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    return scan != WDLT_SCAN_NONE ? IsScanEngineEnabled(protocol, scan, input) : IsProtocolHandlerEnabled(protocol);
}

std::int32_t CCfgHelper::EnableScanEngine(std::int32_t enable, std::uint32_t protocol, std::uint32_t scan,
                                          std::uint32_t input) {
    CCfgData cfgData(WDLT_PROTOCOL_SYSTEM + protocol, scan, input, WDLT_CONFIG_DEFAULT);
    if (const std::int32_t status = Read(cfgData, sizeof(WdchSystemScan), nullptr); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on CConfigReader: %d", status);
        return status;
    }
    auto record = recordOf<WdchSystemScan>(cfgData);
    if (agrees(record.enable, enable))
        return WDLT_OK;
    record.enable = enable != 0 ? 1 : 0;
    putBack(record, cfgData);
    WDLOG_TRACE("Trying to %s scan engine 0x%08x", wdlt::switchVerb(enable), scan);
    if (const std::int32_t status = Write(cfgData); status != WDLT_OK) {
        WDLOG_ERROR("Failed to write config: %d", status);
        return status;
    }
    WDLOG_TRACE("Succeeded to %s scan engine 0x%08x", wdlt::switchVerb(enable), scan);
    return WDLT_OK;
}

std::int32_t CCfgHelper::IsScanEngineEnabled(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    CCfgData cfgData(WDLT_PROTOCOL_SYSTEM + protocol, scan, input, WDLT_CONFIG_DEFAULT);
    if (const std::int32_t status = Read(cfgData, sizeof(WdchSystemScan), nullptr); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on ConfigReader: %d", status);
        return 0;
    }
    return recordOf<WdchSystemScan>(cfgData).enable != 0 ? 1 : 0;
}

std::int32_t CCfgHelper::EnableProtocolHandler(std::int32_t enable, std::uint32_t protocol) {
    CCfgData cfgData(WDLT_PROTOCOL_SYSTEM + protocol, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT);
    if (const std::int32_t status = Read(cfgData); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on CConfigReaderEx: %d", status);
        return status;
    }
    auto record = recordOf<WdchSystemProtocolHandler>(cfgData);
    const bool isNeeded = (record.dependentScanEngine & kItemsThatNeedTheHandler) != 0;
    if (agrees(record.enable, enable) || isNeeded != (enable != 0))
        return WDLT_OK;
    record.enable = enable != 0 ? 1 : 0;
    putBack(record, cfgData);
    WDLOG_TRACE("Trying to %s %s", wdlt::switchVerb(enable), record.scan);
    if (const std::int32_t status = Write(cfgData); status != WDLT_OK) {
        WDLOG_ERROR("Failed to write config: %d", status);
        return status;
    }
    WDLOG_TRACE("Succeeded to %s %s", wdlt::switchVerb(enable), record.scan);
    return WDLT_OK;
}

std::int32_t CCfgHelper::IsProtocolHandlerEnabled(std::uint32_t protocol) {
    CCfgData cfgData(WDLT_PROTOCOL_SYSTEM + protocol, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT);
    if (const std::int32_t status = Read(cfgData); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on CConfigReaderEx: %d", status);
        return 0;
    }
    return recordOf<WdchSystemProtocolHandler>(cfgData).enable != 0 ? 1 : 0;
}

// One action at a time in all processes: the memory is the service's only one.
std::int32_t CCfgHelper::ActionEventSender(const Action& action) {
    const bool needsReply = (action.waitReply & 0xFF) != 0;
    CWdMutex mutex(CreateMutexA(nullptr, FALSE, GlobalObjectName("wdlt_action_mutex").c_str()));
    const WdltSingleLock lock(&mutex);
    CSyncSender sender;
    sender.SetName("wdlt_action");
    void* const memory = sender.OpenMemory(sizeof(ActionMemory));
    if (memory == nullptr) {
        WDLOG_TRACE("Failed to open memory in ActionEventSender or Wardlet is not running");
        return needsReply ? WDLT_E_GENERAL : WDLT_OK;
    }
    const ActionMemory question{-1, action};
    std::memcpy(memory, &question, sizeof question);
    if (!sender.Send(!needsReply)) {
        WDLOG_ERROR("Failed to send in ActionEventSender");
        return WDLT_E_GENERAL;
    }
    std::int32_t reply = 0;
    std::memcpy(&reply, memory, sizeof reply);
    sender.CloseMemory();
    if (!needsReply)
        Sleep(wdlt::kAfterSendPauseMs);
    return reply;
}

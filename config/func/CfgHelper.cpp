#include "CfgHelper.h"

#include "FeatureSwitch.h"
#include "Mutex.h"
#include "Redirects.h"
#include "SyncSender.h"
#include "Waits.h"
#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <cstring>

namespace {

// Mask of the scan items that keep a handler on.
constexpr std::uint32_t kItemsThatNeedTheHandler = 0xFFFF;

// Reads, and copies the record from the start of the data; putBack copies it back. A read with `size` 0 may succeed
// without a record: WDLT_E_GENERAL.
template <class Record>
std::int32_t readRecord(CCfgHelper& helper, CCfgData& cfgData, std::uint64_t size, Record& record) {
    if (const std::int32_t status = helper.Read(cfgData, size, nullptr); status != WDLT_OK)
        return status;
    if (cfgData.GetSize() < sizeof record)
        return WDLT_E_GENERAL;
    std::memcpy(&record, cfgData.GetData(), sizeof record);
    return WDLT_OK;
}
template <class Record>
void putBack(const Record& record, CCfgData& cfgData) {
    std::memcpy(cfgData.GetData(), &record, sizeof record);
}

// A handler's record as long as it is: asked for its size first, then read.
std::int32_t readHandler(CCfgHelper& helper, CCfgData& cfgData, WdchSystemProtocolHandler& record) {
    const wdlt::RedirectMutexKept kept;
    return readRecord(helper, cfgData, 0, record);
}

bool agrees(std::uint32_t stored, std::int32_t wanted) {
    return (stored != 0) == (wanted != 0);
}

// The action's shared memory: what the service reads, and the word in which it answers.
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
    WdchSystemScan record{};
    if (const std::int32_t status = readRecord(*this, cfgData, sizeof record, record); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on CConfigReader: %d", status);
        return status;
    }
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
    WdchSystemScan record{};
    if (const std::int32_t status = readRecord(*this, cfgData, sizeof record, record); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on ConfigReader: %d", status);
        return 0;
    }
    return record.enable != 0 ? 1 : 0;
}

std::int32_t CCfgHelper::EnableProtocolHandler(std::int32_t enable, std::uint32_t protocol) {
    CCfgData cfgData(WDLT_PROTOCOL_SYSTEM + protocol, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT);
    WdchSystemProtocolHandler record{};
    if (const std::int32_t status = readHandler(*this, cfgData, record); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on CConfigReaderEx: %d", status);
        return status;
    }
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
    WdchSystemProtocolHandler record{};
    if (const std::int32_t status = readHandler(*this, cfgData, record); status != WDLT_OK) {
        WDLOG_ERROR("Failed to read on CConfigReaderEx: %d", status);
        return 0;
    }
    return record.enable != 0 ? 1 : 0;
}

// One action at a time across all processes: the service has only this memory for them.
std::int32_t CCfgHelper::ActionEventSender(const Action& action, const std::function<bool()>& layAgain) {
    const bool needsReply = (action.waitReply & 0xFF) != 0;
    CWdMutex mutex(wdlt::createMutex("wdlt_action_mutex"));
    const WdltSingleLock lock(&mutex);
    if (!lock.isHeld()) {
        WDLOG_ERROR("Failed to send in ActionEventSender");
        return WDLT_E_GENERAL;
    }
    CSyncSender sender;
    sender.SetName("wdlt_action");
    void* const memory = sender.OpenMemory(sizeof(ActionMemory));
    if (memory == nullptr) {
        WDLOG_TRACE("Failed to open memory in ActionEventSender or Wardlet is not running");
        return needsReply ? WDLT_E_GENERAL : WDLT_OK;
    }
    // The mark counts the questions whose answers may still come.
    constexpr int kRounds = 4;
    const ULONGLONG start = GetTickCount64();
    ULONGLONG left = sender.StillLeft(sender.Mark());
    std::int32_t reply = 0;
    for (int round = 1;; ++round) {
        const ActionMemory question{-1, action};
        std::memcpy(memory, &question, sizeof question);
        if (!sender.Send(!needsReply, {left + 1, left}, wdlt::restOfReplyWait(start))) {
            WDLOG_ERROR("Failed to send in ActionEventSender");
            return WDLT_E_GENERAL;
        }
        std::memcpy(&reply, memory, sizeof reply);
        if (sender.IsOwnReply())
            break;
        WDLOG_TRACE("The reply in ActionEventSender may be that to an earlier action");
        // If it was, this question is still pending: it is withdrawn, or its answer awaited. If it wasn't, or both
        // answers came at once, nothing is pending. The next round usually notices that; otherwise only a minute
        // without an answer shows it.
        left = sender.StillLeft(left);
        const bool isLast = round == kRounds;
        const DWORD rest = wdlt::restOfReplyWait(start);
        if (left != 0 && sender.AwaitLeft(isLast ? rest : std::min(rest, wdlt::kAfterSendPauseMs)) == wdlt::Reply::Came)
            left = 0;
        if (left == 0 || (isLast && rest > wdlt::kReplyWaitMs - 1000))
            sender.SetMark(0);
        if ((isLast && left != 0) || (layAgain && !layAgain()))
            return WDLT_E_GENERAL;
    }
    sender.CloseMemory();
    if (!needsReply)
        Sleep(wdlt::kAfterSendPauseMs);
    return reply;
}

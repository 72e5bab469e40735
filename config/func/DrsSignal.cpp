#include "DrsSignal.h"

#include "MachineKey.h"
#include "ObjectName.h"
#include "SyncSender.h"
#include "Waits.h"
#include "WdCommon/DebugLog.h"

#include <platform/robust.h>
#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <string>

namespace wdlt {
namespace {

constexpr const char* kRequestSuffix = "814B";
constexpr const char* kReplySuffix = "A9FF";

class ServiceEvent {
  public:
    explicit ServiceEvent(const std::string& name)
        : m_event(OpenEventA(EVENT_ALL_ACCESS, FALSE, GlobalObjectName(name.c_str()).c_str())) {}
    ~ServiceEvent() {
        if (m_event != nullptr)
            CloseHandle(m_event);
    }
    ServiceEvent(const ServiceEvent&) = delete;
    ServiceEvent& operator=(const ServiceEvent&) = delete;

    bool isThere() const { return m_event != nullptr; }
    HANDLE get() const { return m_event; }

  private:
    HANDLE m_event;
};

} // namespace

std::int32_t signalDrs() {
    const std::string stem = GetMachineKeyText();
    const ServiceEvent request(stem + kRequestSuffix);
    const ServiceEvent reply(stem + kReplySuffix);
    if (!request.isThere() || !reply.isThere()) {
        WDLOG_TRACE("Failed to open DRS event or Wardlet is not running");
        return WDLT_OK;
    }
    const ULONGLONG start = GetTickCount64();
    // A writer that died before its answer came has left its role in the reply event. If the service has never seen
    // that writer's request, waiting for the request event takes the request back.
    if (WdTagRole(WdEventTaker(reply.get())) == WD_ROLE_ALONE && WaitForSingleObject(request.get(), 0) != WAIT_OBJECT_0)
        awaitReply(reply.get(), kReplyWaitMs);
    // In this order: a late reply to an earlier signal must not answer this one. Taking the reply event with a role
    // marks it until the answer: a signal is pending. awaitReply takes it without a role.
    SetEvent(reply.get());
    WdWaitForEvent(reply.get(), WD_ROLE_ALONE, 0, nullptr, nullptr);
    SetEvent(request.get());
    WDLOG_ENTRY("***DRS Waiting response (Max 60 sec.)...");
    const Reply answer = awaitReply(reply.get(), restOfReplyWait(start));
    if (answer != Reply::Came) {
        SetEvent(reply.get()); // given up: removes the mark, so that the next signal doesn't wait
        ResetEvent(reply.get());
        WDLOG_ERROR("***DRS Waiting has timeout...");
        return WDLT_E_NO_ANSWER;
    }
    WDLOG_ENTRY("***DRS Waiting was successful...");
    return WDLT_OK;
}

} // namespace wdlt

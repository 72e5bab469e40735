#include "DrsSignal.h"

#include "MachineKey.h"
#include "ObjectName.h"
#include "SyncSender.h"
#include "Waits.h"
#include "WdCommon/DebugLog.h"

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
    // In this order: a reply that came too late for the signal before must not answer this one.
    ResetEvent(reply.get());
    SetEvent(request.get());
    WDLOG_ENTRY("***DRS Waiting response (Max 60 sec.)...");
    if (awaitReply(reply.get(), kReplyWaitMs) != Reply::Came) {
        WDLOG_ERROR("***DRS Waiting has timeout...");
        return WDLT_E_NO_ANSWER;
    }
    WDLOG_ENTRY("***DRS Waiting was successful...");
    return WDLT_OK;
}

} // namespace wdlt

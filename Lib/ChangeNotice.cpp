#include "ChangeNotice.h"

#include "Mutex.h"
#include "SyncSender.h"
#include "Waits.h"

#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <cstring>
#include <new>

namespace wdlt {
namespace {

// The memory is unmapped before the service is signalled: its reply is the only signal between the two sides. The mark
// is the time at which the pending notice was sent. A living writer clears it when it gives up after a minute, so that
// the next one starts at once.
std::int32_t notice(std::uint32_t protocol, std::uint32_t scan, const ChangeLines& lines) {
    const std::uint32_t change[] = {protocol, scan};
    CSyncSender sender;
    sender.SetName("wdlt_config_change_evt");
    void* const memory = sender.OpenMemory(sizeof change);
    if (memory == nullptr) {
        lines.noService.tell(kLogTrace, {}, {});
        return WDLT_OK;
    }
    const ULONGLONG now = GetTickCount64();
    if (const ULONGLONG left = sender.Mark(); left != 0 && now - left < kReplyWaitMs)
        sender.AwaitLeft(static_cast<DWORD>(kReplyWaitMs - (now - left)));
    std::memcpy(memory, change, sizeof change);
    sender.CloseMemory();
    const bool isAnswered = sender.Send(true, {GetTickCount64(), 0});
    if (isAnswered)
        return WDLT_OK;
    sender.SetMark(0);
    lines.noAnswer.tell(kLogError, {}, {});
    return WDLT_E_NO_ANSWER;
}

} // namespace

HANDLE createConfigMutex() {
    return createMutex("wdlt_config_mutex");
}

// The change stays stored even when memory runs out before the service is notified.
std::int32_t noticeChange(std::uint32_t protocol, std::uint32_t scan, const ChangeLines& lines) {
    try {
        return notice(protocol, scan, lines);
    } catch (const std::bad_alloc&) {
        lines.noAnswer.tell(kLogError, {}, {});
        return WDLT_E_NO_ANSWER;
    }
}

} // namespace wdlt

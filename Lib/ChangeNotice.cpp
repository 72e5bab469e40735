#include "ChangeNotice.h"

#include "ObjectName.h"
#include "SyncSender.h"

#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace wdlt {

HANDLE createConfigMutex() {
    return CreateMutexA(nullptr, FALSE, GlobalObjectName("wdlt_config_mutex").c_str());
}

// The memory is put down before the service is told: the reply is the only signal between the two sides.
std::int32_t noticeChange(std::uint32_t protocol, std::uint32_t scan, const ChangeLines& lines) {
    const std::uint32_t change[] = {protocol, scan};
    CSyncSender sender;
    sender.SetName("wdlt_config_change_evt");
    void* const memory = sender.OpenMemory(sizeof change);
    if (memory == nullptr) {
        lines.noService();
        return WDLT_OK;
    }
    std::memcpy(memory, change, sizeof change);
    sender.CloseMemory();
    if (sender.Send(true))
        return WDLT_OK;
    lines.noAnswer();
    return WDLT_E_NO_ANSWER;
}

} // namespace wdlt

#include "Handlers.h"
#include "Records.h"

#include <cstring>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* The type finds the handler's key: changing it in a write would lose the values behind it. */
constexpr Field kHandlerFields[] = {
    textField(WDLT_MEMBER(WdchSystemProtocolHandler, name), "name of its key").readOnly(),
    textField(WDLT_MEMBER(WdchSystemProtocolHandler, filename), "its file"),
    numberField(WDLT_MEMBER(WdchSystemProtocolHandler, type), "the protocol it serves").readOnly(),
    flagField(WDLT_MEMBER(WdchSystemProtocolHandler, enable), "1 when it is on"),
    textField(WDLT_MEMBER(WdchSystemProtocolHandler, scan), "folder of its scan items"),
    numberField(WDLT_MEMBER(WdchSystemProtocolHandler, dependentScanEngine), "bits of the scan items that are on")
        .readOnly(),
    numberField(WDLT_MEMBER(WdchSystemProtocolHandler, redirectCount), "number of its redirects").readOnly(),
};

std::int32_t readHandler(const std::string& which, std::span<BYTE> record) {
    const Handler handler = findHandler(which);
    std::memcpy(record.data(), &handler.head, record.size());
    return WDLT_OK;
}

/* The head alone is a whole record: redirects change by a write of their own. */
std::int32_t writeHandler(const std::string&, std::span<BYTE> record) {
    WdchSystemProtocolHandler head;
    std::memcpy(&head, record.data(), sizeof head);
    return WdltWriteConfig(WDLT_PROTOCOL_SYSTEM + head.type, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, record.data(),
                           record.size());
}

} // namespace

const Record kHandlerRecord = {
    "handler", "a protocol handler",       sizeof(WdchSystemProtocolHandler), kHandlerFields, readHandler, writeHandler,
    "HANDLER", "its name or type: POP3, 1"};

} // namespace wdlt

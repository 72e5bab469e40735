#include "Records.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr Field kSystemFields[] = {
    numberField(WDLT_MEMBER(WdchSystemData, proxyPort), "port of the service"),
    textField(WDLT_MEMBER(WdchSystemData, installPath), "install directory, with a backslash at its end"),
    textField(WDLT_MEMBER(WdchSystemData, tempPath), "directory of temporary files"),
    textField(WDLT_MEMBER(WdchSystemData, logPath), "directory of the service's logs"),
    flagField(WDLT_MEMBER(WdchSystemData, bmFlag), "1 when the Bm feature is on"),
    numberField(WDLT_MEMBER(WdchSystemData, handlerCount), "number of protocol handlers that are on").readOnly(),
    numberListField(WDLT_MEMBER(WdchSystemData, handlerTypes), offsetof(WdchSystemData, handlerCount),
                    "their types: 1 POP3, 2 SMTP, 3 HTTP"),
    numberField(WDLT_MEMBER(WdchSystemData, defRedirectFlag), "default redirect flag").readOnly(),
    numberField(WDLT_MEMBER(WdchSystemData, tcpAutoTuningLevel), "TCP auto-tuning level").readOnly(),
};

std::int32_t readSystem(const std::string&, std::span<BYTE> record) {
    std::uint64_t size = record.size();
    return WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, record.data(), &size);
}

std::int32_t writeSystem(const std::string&, std::span<BYTE> record) {
    return WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, record.data(), record.size());
}

} // namespace

const Record kSystemRecord = {"system",      "the service itself", sizeof(WdchSystemData),
                              kSystemFields, readSystem,           writeSystem};

} // namespace wdlt

#include "ManagerHTTPCommon.h"

#include "ConfigTypes.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"
#include "WebReport.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstddef>
#include <cstring>

namespace {

using namespace wdlt;

constexpr DWORD kFileNameLimit = 256;

// Each in the order of reading and writing.
constexpr FieldOf<WdsmHttpConfig> kManager[] = {
    text(WDLT_IN(WdsmHttpConfig, szUrlHistoryFile), "UrlHistoryFile", kFileNameLimit).fileName(),
    number(WDLT_IN(WdsmHttpConfig, dwMaxUrlHistoryCount), "MaxUrlHistoryCount"),
    nameList(WDLT_IN(WdsmHttpConfig, szExclusionExtensions), "ExclusionExtensions"),
    text(WDLT_IN(WdsmHttpConfig, szUrlFilterAlertFile), "UrlFilterAlertFile", kFileNameLimit).fileName(),
    text(WDLT_IN(WdsmHttpConfig, szUrlFilterCredAlertFile), "UrlFilterCredAlertFile", kFileNameLimit).fileName(),
    text(WDLT_IN(WdsmHttpConfig, szHostFilterAlertFile), "HostFilterAlertFile", kFileNameLimit).fileName(),
    text(WDLT_IN(WdsmHttpConfig, szHostFilterErrorFile), "HostFilterErrorFile", kFileNameLimit).fileName(),
    text(WDLT_IN(WdsmHttpConfig, szPrivacyDataAlertFile), "PrivacyDataAlertFile", kFileNameLimit).fileName(),
    number(WDLT_IN(WdsmHttpConfig, dwMaxWebMailScanSize), "MaxWebMailScanSize")
        .writesAndCorrects(atMost(WDLT_MAX_SCAN_SIZE)),
    number(WDLT_IN(WdsmHttpConfig, WdsmHttpNotifyExFlag), "HttpNotifyExFlag").unreadable(0, Told::AsTrace),
};
static_assert(cover(kManager));

constexpr DWORD kDefaultWebMailScanSize = 3072;
constexpr DWORD kDefaultWebMailThreshold = 256;
constexpr FieldOf<WdsmWebMailData> kWebMail[] = {
    number(WDLT_IN(WdsmWebMailData, dwMaxWebMailScanSize), "MaxWebMailScanSize")
        .unreadable(kDefaultWebMailScanSize)
        .writes(atMost(WDLT_MAX_SCAN_SIZE)),
    number(WDLT_IN(WdsmWebMailData, dwWebMailActionSizeThreshold), "WebMailActionSizeThreshold")
        .unreadable(kDefaultWebMailThreshold)
        .writes(atMost(WDLT_MAX_SCAN_SIZE))
        .keepingStoresCode(),
};
static_assert(cover(kWebMail, WDLT_IN(WdsmWebMailData, dwReserved)));

constexpr DWORD kMaxDecompressSize = 0x10000;

// A size of 0 is as good as unreadable; anything else passes, even what a write would not store.
constexpr FieldOf<WdpeHfeData> kFileEvents[] = {
    number(WDLT_IN(WdpeHfeData, dwHfeTargetMethod), "HfeTargetMethod").unreadable(1),
    number(WDLT_IN(WdpeHfeData, dwHfeMaxDecompressSize), "HfeMaxDecompressSize")
        .unreadable(kMaxDecompressSize)
        .reads(orElse(1, UINT32_MAX, kMaxDecompressSize))
        .toldWhenCorrected()
        .writes(orElse(1, kMaxDecompressSize, kMaxDecompressSize))
        .keepingStoresCode(),
};
static_assert(cover(kFileEvents));

struct FlagByte {
    std::uint8_t isSet;
};
constexpr FieldOf<FlagByte> kPluginEvent[] = {
    number(WDLT_IN(FlagByte, isSet), "HfeEnablePluginFileEvent").unreadable(0).reads(asFlag()).writes(asFlag()),
};
static_assert(cover(kPluginEvent));

constexpr ValueReport kReport = webReport(
    [](const char* name, const char* value) {
        WDLOG_ERROR("[WdltCfg] CManagerHTTPCommon::ReadConfig: Skip a value (key=%s, value=%s)", name, value);
    },
    [](const char* name, std::uint32_t) { reportWebRead(kLogError, name, WDLT_OK); });

template <class Record, std::size_t Count>
Record recordOf(const FieldOf<Record> (&)[Count]);

template <auto& Rows>
std::int32_t readTable(WdchHelper& helper, void* data, std::uint64_t* size) {
    using Record = decltype(recordOf(Rows));
    if (data == nullptr || *size != sizeof(Record))
        return WDLT_E_INVALID_ARGUMENT;
    CallersRecord<Record> record(data);
    record.clear();
    return readValues({helper, kReport}, Rows, *record);
}

template <auto& Rows>
std::int32_t writeTable(WdchHelper& helper, void* data, std::uint64_t size) {
    using Record = decltype(recordOf(Rows));
    if (data == nullptr || size != sizeof(Record))
        return WDLT_E_INVALID_ARGUMENT;
    CallersRecord<Record> record(data);
    return writeValues({helper, kReport}, Rows, *record);
}

std::int32_t readManager(WdchHelper& helper, void* data, std::uint64_t* size) {
    const std::int32_t status = readTable<kManager>(helper, data, size);
    if (status != WDLT_OK)
        return status;
    std::uint32_t flag = 0;
    std::memcpy(&flag, static_cast<const char*>(data) + offsetof(WdsmHttpConfig, WdsmHttpNotifyExFlag), sizeof flag);
    WDLOG_TRACE("[WdltCfg] WdsmHttpNotifyExFlag(0x%X)", flag);
    return WDLT_OK;
}

constexpr ConfigType kTypes[] = {
    {WDLT_CONFIG_DEFAULT, readManager, writeTable<kManager>},
    {WDLT_CONFIG_HTTP_WEB_MAIL, readTable<kWebMail>, writeTable<kWebMail>},
    {WDLT_CONFIG_HTTP_FILE_EVENTS, readTable<kFileEvents>, writeTable<kFileEvents>},
    {WDLT_CONFIG_HTTP_PLUGIN_EVENT, readTable<kPluginEvent>, writeTable<kPluginEvent>},
};

} // namespace

std::int32_t CManagerHTTPCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    const ConfigType* const found = findConfigType(kTypes, configType);
    if (found == nullptr) {
        WDLOG_ERROR("[WdltCfg.dll] ReadConfig invalid input : pInput=0x%x", static_cast<std::uint32_t>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return found->read(*this, data, size);
}

std::int32_t CManagerHTTPCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    const ConfigType* const found = findConfigType(kTypes, configType);
    if (found == nullptr) {
        WDLOG_ERROR("[WdltCfg.dll] WriteConfig invalid input : pInput=0x%x", static_cast<std::uint32_t>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return found->write(*this, data, size);
}

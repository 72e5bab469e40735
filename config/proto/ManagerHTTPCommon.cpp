#include "ManagerHTTPCommon.h"

#include "HelperRegistry.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"
#include "WebReport.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstddef>
#include <cstring>
#include <iterator>

namespace {

using namespace wdlt;

constexpr DWORD kFileNameLimit = 256;

// Each in the order of reading and writing.
constexpr ValueRow<WdsmHttpConfig> kManager[] = {
    text<&WdsmHttpConfig::szUrlHistoryFile>("UrlHistoryFile", kFileNameLimit).fileName(),
    number<&WdsmHttpConfig::dwMaxUrlHistoryCount>("MaxUrlHistoryCount"),
    nameList<&WdsmHttpConfig::szExclusionExtensions>("ExclusionExtensions"),
    text<&WdsmHttpConfig::szUrlFilterAlertFile>("UrlFilterAlertFile", kFileNameLimit).fileName(),
    text<&WdsmHttpConfig::szUrlFilterCredAlertFile>("UrlFilterCredAlertFile", kFileNameLimit).fileName(),
    text<&WdsmHttpConfig::szHostFilterAlertFile>("HostFilterAlertFile", kFileNameLimit).fileName(),
    text<&WdsmHttpConfig::szHostFilterErrorFile>("HostFilterErrorFile", kFileNameLimit).fileName(),
    text<&WdsmHttpConfig::szPrivacyDataAlertFile>("PrivacyDataAlertFile", kFileNameLimit).fileName(),
    number<&WdsmHttpConfig::dwMaxWebMailScanSize>("MaxWebMailScanSize").onWriteAndInRecord(ceiling<WDLT_MAX_SCAN_SIZE>),
    number<&WdsmHttpConfig::WdsmHttpNotifyExFlag>("HttpNotifyExFlag").whenUnreadable(0, kAsTrace),
};

constexpr DWORD kDefaultWebMailScanSize = 3072;
constexpr DWORD kDefaultWebMailThreshold = 256;
constexpr ValueRow<WdsmWebMailData> kWebMail[] = {
    number<&WdsmWebMailData::dwMaxWebMailScanSize>("MaxWebMailScanSize")
        .whenUnreadable(kDefaultWebMailScanSize)
        .onWrite(ceiling<WDLT_MAX_SCAN_SIZE>),
    number<&WdsmWebMailData::dwWebMailActionSizeThreshold>("WebMailActionSizeThreshold")
        .whenUnreadable(kDefaultWebMailThreshold)
        .onWrite(ceiling<WDLT_MAX_SCAN_SIZE>)
        .withStoresCodeOnWrite(),
};

constexpr DWORD kMaxDecompressSize = 0x10000;
constexpr const char* kDecompressSize = "HfeMaxDecompressSize";

// 0 is as good as unreadable; anything else passes, even what a write would not store.
DWORD decompressSizeAsRead(DWORD size) {
    if (size != 0)
        return size;
    reportWebRead(kAsError, kDecompressSize, WDLT_OK);
    return kMaxDecompressSize;
}
constexpr ValueRow<WdpeHfeData> kFileEvents[] = {
    number<&WdpeHfeData::dwHfeTargetMethod>("HfeTargetMethod").whenUnreadable(1),
    number<&WdpeHfeData::dwHfeMaxDecompressSize>(kDecompressSize)
        .whenUnreadable(kMaxDecompressSize)
        .onRead(decompressSizeAsRead)
        .onWrite(orElseOutside<1, kMaxDecompressSize, kMaxDecompressSize>)
        .withStoresCodeOnWrite(),
};

struct FlagByte {
    std::uint8_t isSet;
};
constexpr ValueRow<FlagByte> kPluginEvent[] = {
    number<&FlagByte::isSet>("HfeEnablePluginFileEvent").whenUnreadable(0).onRead(asFlag).onWrite(asFlag),
};

constexpr ValueReport kReport = webReport([](const char* name, const char* value) {
    WDLOG_ERROR("[WdltCfg] CManagerHTTPCommon::ReadConfig: Skip a value (key=%s, value=%s)", name, value);
});

template <class Record, std::size_t Count>
Record recordOf(const ValueRow<Record> (&)[Count]);

template <auto& Rows>
std::int32_t readTable(WdchHelper& helper, void* data, const std::uint64_t* size) {
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

std::int32_t readManager(WdchHelper& helper, void* data, const std::uint64_t* size) {
    const std::int32_t status = readTable<kManager>(helper, data, size);
    if (status != WDLT_OK)
        return status;
    std::uint32_t flag = 0;
    std::memcpy(&flag, static_cast<const char*>(data) + offsetof(WdsmHttpConfig, WdsmHttpNotifyExFlag), sizeof flag);
    WDLOG_TRACE("[WdltCfg] WdsmHttpNotifyExFlag(0x%X)", flag);
    return WDLT_OK;
}

struct Input {
    std::int32_t (*read)(WdchHelper& helper, void* data, const std::uint64_t* size);
    std::int32_t (*write)(WdchHelper& helper, void* data, std::uint64_t size);
};

// By config type.
constexpr Input kInputs[] = {
    {readManager, writeTable<kManager>},                 // WDLT_CONFIG_DEFAULT
    {readTable<kWebMail>, writeTable<kWebMail>},         // WDLT_CONFIG_HTTP_WEB_MAIL
    {readTable<kFileEvents>, writeTable<kFileEvents>},   // _FILE_EVENTS
    {readTable<kPluginEvent>, writeTable<kPluginEvent>}, // _PLUGIN_EVENT
};

const RegisterHelper<CManagerHTTPCommon> kRegistered(HelperKind::CManagerHTTPCommon);

} // namespace

std::int32_t CManagerHTTPCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (configType >= std::size(kInputs)) {
        WDLOG_ERROR("[WdltCfg.dll] ReadConfig invalid input : pInput=0x%x", static_cast<std::uint32_t>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return kInputs[configType].read(*this, data, size);
}

std::int32_t CManagerHTTPCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (configType >= std::size(kInputs)) {
        WDLOG_ERROR("[WdltCfg.dll] WriteConfig invalid input : pInput=0x%x", static_cast<std::uint32_t>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return kInputs[configType].write(*this, data, size);
}

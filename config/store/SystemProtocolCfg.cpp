#include "SystemProtocolCfg.h"

#include "Redirects.h"
#include "SystemRecords.h"
#include "Utility.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>

namespace {

using namespace wdlt;

constexpr ValueReport kHandlerReport{
    .writeFailed = "WriteConfig WdchSystemProtocolHandler::%s fails.",
    .writeCode = WDLT_E_GENERAL,
};

constexpr std::uint64_t kHeaderSize = sizeof(WdchSystemProtocolHandler);
constexpr std::uint64_t kRedirectSize = sizeof(WdchSystemRedirect);

} // namespace

std::int32_t CSystemProtocolCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    const Redirects redirects(*this);
    const std::uint32_t count = redirects.count();
    const std::uint64_t needed = count * kRedirectSize + kHeaderSize;
    if (*size != needed) {
        *size = needed;
        return WDLT_E_BUFFER_SIZE;
    }
    if (data == nullptr) {
        WDLOG_ERROR("data is NULL");
        return WDLT_E_GENERAL;
    }
    CallersRecord<WdchSystemProtocolHandler> record(data);
    record.clear();
    auto* const entries = static_cast<BYTE*>(data) + kHeaderSize;
    std::fill_n(entries, count * kRedirectSize, BYTE{0});
    record->redirects = reinterpret_cast<WdchSystemRedirect*>(entries);

    DWORD nameSize = sizeof record->name;
    if (ReadItem("", "", record->name, &nameSize, false) != WDLT_OK)
        record->name[0] = '\0';
    static_cast<void>(readValues({*this, kHandlerReport}, kHandlerFields, *record)); // each row has a default
    record->dependentScanEngine = GetDependentScanEngine();
    record->redirectCount = count;
    redirects.read({entries, count * kRedirectSize});
    return WDLT_OK;
}

DWORD CSystemProtocolCfg::GetDependentScanEngine() {
    const bool isHttp = protocol == WDLT_PROTOCOL_HTTP || protocol == WDLT_PROTOCOL_SYSTEM_HTTP;
    DWORD mask = 0;
    for (DWORD bit = 1; bit != 0; bit <<= 1) {
        DWORD enable = 0;
        DWORD size = sizeof enable;
        const std::int32_t status =
            store->ReadValue(protocol, bit, WDLT_INPUT_NONE, "", "Enable", &enable, &size, false);
        WDLOG_TRACE("GetDependentScanEngine (%d) : protocol = %d,  type = %08x,  enable = %x", status, protocol, bit,
                    enable);
        const bool isOn = status == WDLT_OK && enable == 1;
        if (isOn || (isHttp && bit == WDLT_SCAN_VIRUS && isFileScanOn()))
            mask |= bit;
    }
    return mask;
}

bool CSystemProtocolCfg::isFileScanOn() {
    DWORD enable = 0;
    DWORD size = sizeof enable;
    return store->ReadValue(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_VIRUS, WDLT_INPUT_HTTP_FILE_SCAN, "", "Enable",
                            &enable, &size, false) == WDLT_OK &&
           enable != 0;
}

std::int32_t CSystemProtocolCfg::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return writeHandler(data, size);
    case WDLT_CONFIG_REDIRECT_ADD:
        skipChangeEvent = true;
        return Redirects(*this).add(data, size);
    case WDLT_CONFIG_REDIRECT_DELETE:
        skipChangeEvent = true;
        return Redirects(*this).remove(data, size);
    default:
        WDLOG_ERROR("WriteConfig config type (%d)", loggedSize(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CSystemProtocolCfg::writeHandler(void* data, std::uint64_t size) {
    const std::uint64_t behind = size - kHeaderSize; // wraps for a smaller size, which is refused
    if (size < kHeaderSize || behind % kRedirectSize != 0) {
        WDLOG_ERROR("WriteConfig WdchSystemProtocolHandler size error : (%d / %d / %d)", static_cast<int>(behind),
                    static_cast<int>(kHeaderSize), static_cast<int>(kRedirectSize));
        return WDLT_E_GENERAL;
    }
    if (data == nullptr) {
        WDLOG_ERROR("data is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    CallersRecord<WdchSystemProtocolHandler> record(data);
    return writeValues({*this, kHandlerReport}, kHandlerFields, *record);
}

#include "EnginePDP.h"

#include "WdCommon/DebugLog.h"

#include <platform/registry.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

constexpr const char* kValue = "SearchTableIndex";

} // namespace

std::int32_t CEnginePDP::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (data == nullptr) {
        WDLOG_ERROR("*** CEnginePDP::ReadConfig() - _pData was invalid parameter.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (configType != WDLT_CONFIG_PRIVACY_TABLE_READ) {
        WDLOG_ERROR("*** CEnginePDP::ReadConfig() - _pInput was invalid parameter.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    DWORD number = 0;
    if (*size != sizeof number) {
        WDLOG_ERROR("*** CEnginePDP::ReadConfig() - specified size was insufficient.");
        *size = sizeof number;
        return WDLT_E_BUFFER_SIZE;
    }
    DWORD bytes = sizeof number;
    if (const std::int32_t status = ReadItem("", kValue, &number, &bytes, false); status != WDLT_OK) {
        WDLOG_ERROR("*** CEnginePDP::ReadConfig() - Failed to ReadValue(). lRtnSts=%ld", static_cast<long>(status));
        return status;
    }
    std::memcpy(data, &number, sizeof number);
    *size = bytes;
    return WDLT_OK;
}

std::int32_t CEnginePDP::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (data == nullptr) {
        WDLOG_ERROR("*** CEnginePDP::WriteConfig() - _pData was invalid parameter");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (configType == WDLT_CONFIG_DEFAULT) {
        WDLOG_ERROR("*** CEnginePDP::WriteConfig() - _pInput was invalid parameter.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (static_cast<DWORD>(configType) != WDLT_CONFIG_PRIVACY_TABLE_WRITE) {
        WDLOG_ERROR("*** CEnginePDP::WriteConfig() - specified _pInput was invalid.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    DWORD number = 0;
    if (size != sizeof number) {
        WDLOG_ERROR("*** CEnginePDP::WriteConfig() - specified size was insufficient.");
        return WDLT_E_BUFFER_SIZE;
    }
    std::memcpy(&number, data, sizeof number);
    if (const std::int32_t status = WriteItem("", kValue, REG_DWORD, &number, sizeof number, false);
        status != WDLT_OK) {
        WDLOG_ERROR("*** CEnginePDP::WriteConfig() - Failed to WriteValue(). lRtnSts=%ld", static_cast<long>(status));
        return WDLT_E_GENERAL;
    }
    return WDLT_OK;
}

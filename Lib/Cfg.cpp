#include "Cfg.h"

#include "Utility.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace {

// These log lines print the config type as the input, as the manager's do.
int loggedInput(const CCfgData& cfgData) {
    return static_cast<int>(cfgData.configType & 0xFFFFFFFF);
}

} // namespace

std::int32_t CCfg::SetInterface(CCfgIF* cfgIF) {
    if (cfgIF == nullptr) {
        WDLOG_ERROR("CfgIF is invalid");
        return WDLT_E_INVALID_ARGUMENT;
    }
    m_cfgIF = cfgIF;
    return WDLT_OK;
}

bool CCfg::isReady() const {
    if (m_cfgIF == nullptr) {
        WDLOG_ERROR("Config IF is NULL");
        return false;
    }
    if (!m_cfgIF->IsInitialized()) {
        WDLOG_ERROR("Config IF is not initialized");
        return false;
    }
    return true;
}

std::int32_t CCfg::Read(CCfgData& cfgData, std::uint64_t size, const void* initial, std::uint64_t initialSize) {
    if (!isReady())
        return WDLT_E_INVALID_ARGUMENT;
    const auto read = [&](void* data) {
        return m_cfgIF->ReadConfigEx(cfgData.protocol, cfgData.scan, cfgData.input, cfgData.configType, data, &size);
    };
    if (size == 0) {
        const std::int32_t status = read(nullptr);
        if (status != WDLT_E_BUFFER_SIZE) {
            WDLOG_ERROR("Failed to get sufficient size from WdltReadConfig(): %d", status);
            if (status == WDLT_OK)
                cfgData.Free(); // so that no caller takes the old bytes for what was read
            return status;
        }
    }
    cfgData.Free();
    const std::uint64_t allocated = size;
    std::unique_ptr<BYTE[]> buffer(new (std::nothrow) BYTE[size]());
    if (buffer == nullptr) {
        WDLOG_ERROR("Failed to allocate memory in CConfigReader::Read()");
        return WDLT_E_NO_MEMORY;
    }
    if (initialSize != 0)
        std::memcpy(buffer.get(), initial, std::min(initialSize, size));
    cfgData.TakeData(std::move(buffer), allocated);
    if (const std::int32_t status = read(cfgData.GetData()); status != WDLT_OK) {
        cfgData.Free();
        WDLOG_ERROR("Failed to read config: err=%d, proto=%d, scan=0x%08x, input=%d, size=%d", status, cfgData.protocol,
                    cfgData.scan, loggedInput(cfgData), wdlt::loggedSize(size));
        return status;
    }
    cfgData.Shorten(size);
    return WDLT_OK;
}

std::int32_t CCfg::Write(const CCfgData& cfgData) {
    if (!isReady())
        return WDLT_E_INVALID_ARGUMENT;
    const std::int32_t status = m_cfgIF->WriteConfigEx(cfgData.protocol, cfgData.scan, cfgData.input,
                                                       cfgData.configType, cfgData.GetData(), cfgData.GetSize());
    if (status != WDLT_OK)
        WDLOG_ERROR("Failed to write config: err=%d, proto=%d, scan=0x%08x, input=%d, size=%d", status,
                    cfgData.protocol, cfgData.scan, loggedInput(cfgData), wdlt::loggedSize(cfgData.GetSize()));
    return status;
}

#include "CfgData.h"

#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <cstring>
#include <new>
#include <utility>

std::int32_t CCfgData::SetData(const void* bytes, std::uint64_t byteCount) {
    std::unique_ptr<BYTE[]> copy(new (std::nothrow) BYTE[byteCount]);
    if (copy == nullptr) {
        WDLOG_ERROR("Failed to allocate memory in CConfigData::SetData()");
        return WDLT_E_NO_MEMORY;
    }
    std::memcpy(copy.get(), bytes, byteCount);
    TakeData(std::move(copy), byteCount);
    return WDLT_OK;
}

void CCfgData::TakeData(std::unique_ptr<BYTE[]> bytes, std::uint64_t byteCount) {
    data = std::move(bytes);
    size = byteCount;
}

void CCfgData::Free() {
    data.reset();
    size = 0;
}

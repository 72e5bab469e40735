#include "CfgData.h"

#include "WdCommon/DebugLog.h"

#include <platform/memory.h>
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
    Free();
    data = std::move(bytes);
    size = byteCount;
}

void CCfgData::Shorten(std::uint64_t byteCount) {
    if (byteCount >= size)
        return;
    SecureZeroMemory(data.get() + byteCount, size - byteCount);
    size = byteCount;
}

void CCfgData::Free() {
    if (data != nullptr)
        SecureZeroMemory(data.get(), size);
    data.reset();
    size = 0;
}

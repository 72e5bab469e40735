#include "UrlFilterDB.h"

#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <array>
#include <cstring>

namespace {

constexpr wdlt::RecordFile::Family kFamily{"url", false, true};

} // namespace

CUrlFilterDB::CUrlFilterDB() : RecordFile(kFamily) {}

std::int32_t CUrlFilterDB::ReadData(void* buffer, DWORD size) {
    if (!isReading()) {
        WDLOG_ERROR("CUrlFilterDB::ReadData(): Invalid mode (m_AccessMode=%d)", accessMode());
        return WDLT_E_GENERAL;
    }
    return readBytes(buffer, size);
}

std::int32_t CUrlFilterDB::WriteData(const void* buffer, DWORD size) {
    if (!isWriting()) {
        WDLOG_ERROR("CUrlFilterDB::WriteData(): Invalid mode (m_AccessMode=%d)", accessMode());
        return WDLT_E_GENERAL;
    }
    return writeBytes(buffer, size);
}

std::int32_t CUrlFilterDB::readHeaderField(void* field, DWORD size) {
    std::array<std::uint8_t, wdlt::kGuidBytes> whole;
    const auto moved = m_hFile.read(whole.data(), size);
    if (moved.bytes == size)
        std::memcpy(field, whole.data(), size);
    return moved.done ? WDLT_OK : WDLT_E_FILE;
}

std::int32_t CUrlFilterDB::writeHeaderField(const void* field, DWORD size) {
    return m_hFile.write(field, size).done ? WDLT_OK : WDLT_E_FILE;
}

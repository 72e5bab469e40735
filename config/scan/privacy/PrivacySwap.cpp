#include "PrivacySwap.h"

#include "WdCommon/DebugLog.h"

#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace wdlt {
namespace {

constexpr DWORD kReplaceWriteThrough = 1;

template <std::size_t Size>
std::string_view textOf(const char (&field)[Size]) {
    return {field, strnlen(field, Size)};
}

template <std::size_t Size>
bool isFileName(const char (&field)[Size]) {
    std::array<char, Size> stripped{};
    std::copy_n(field, Size, stripped.begin());
    WdchHelper::StripPath(stripped.data(), stripped.size());
    const std::string_view name = textOf(field);
    return name.size() < Size && name == std::string_view(stripped.data(), strnlen(stripped.data(), Size));
}

} // namespace

PrivacySwap::PrivacySwap(WdchHelper& helper, const PrivacyControlData& control)
    : m_helper(helper), m_database(helper.GetInstallPath().append(textOf(control.szDataBaseName))),
      m_backup(helper.GetInstallPath().append(textOf(control.szBackUpDBName))) {}

PrivacySwap::~PrivacySwap() {
    discard();
}

bool PrivacySwap::areFileNames(const PrivacyControlData& control) {
    return isFileName(control.szDataBaseName) && isFileName(control.szBackUpDBName) &&
           textOf(control.szDataBaseName) != textOf(control.szBackUpDBName);
}

std::int32_t PrivacySwap::BackupDatabase() {
    const DWORD attributes = GetFileAttributesA(m_database.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        WDLOG_ERROR("*** CEnginePDPCommon::BackupDatabase() - Failed to GetFileAttributes(). LastError[0x%08x]",
                    GetLastError());
    } else if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::BackupDatabase() - Database was set readonly attribute.");
        return WDLT_E_FILE;
    }
    if (CopyFileA(m_database.c_str(), m_backup.c_str(), FALSE) == FALSE) {
        WDLOG_ERROR("*** CEnginePDPCommon::BackupDatabase() - Failed to CopyFile() for backup. LastError[0x%08x]",
                    GetLastError());
        return WDLT_E_FILE;
    }
    return WDLT_OK;
}

std::int32_t PrivacySwap::OpenTempFileToWrite() {
    std::string name(MAX_PATH, '\0'); // before there is a file: without memory none is left
    if (GetTempFileNameA(m_helper.GetTempPath().c_str(), "pdp", 0, name.data()) == 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::OpenTempFileToWrite() - GetTempFileName() failed. LastError[0x%08x]",
                    GetLastError());
        return WDLT_E_TEMP_FILE;
    }
    name.resize(name.find('\0'));
    m_temporary = std::move(name);
    HANDLE opened =
        CreateFileA(m_temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        WDLOG_ERROR("*** CEnginePDPCommon::OpenTempFileToWrite() - CreateFile() failed. LastError[0x%08x], File[%s]",
                    GetLastError(), m_temporary);
        discard();
        return WDLT_E_FILE;
    }
    const bool isAtStart = SetFilePointer(opened, 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER;
    if (!isAtStart)
        WDLOG_ERROR("*** CEnginePDPCommon::OpenTempFileToWrite() - SetFilePointer() failed. LastError[0x%08x], "
                    "File[%s]",
                    GetLastError(), m_temporary);
    m_file.open(opened);
    if (isAtStart)
        return WDLT_OK;
    discard();
    return WDLT_E_FILE;
}

std::int32_t PrivacySwap::replace(const char* operation) {
    m_file.close();
    const std::string temporary = std::exchange(m_temporary, {});
    if (ReplaceFileA(m_database.c_str(), temporary.c_str(), nullptr, kReplaceWriteThrough, nullptr, nullptr) == FALSE) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to ReplaceFile(). LastError[0x%08x]", operation,
                    GetLastError());
        return WDLT_E_FILE;
    }
    DeleteFileA(temporary.c_str());
    if (DeleteFileA(m_backup.c_str()) == FALSE) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to DeleteFile() for backup. LastError[0x%08x]", operation,
                    GetLastError());
        return WDLT_E_FILE;
    }
    return WDLT_OK;
}

void PrivacySwap::discard() {
    m_file.close();
    if (!m_temporary.empty())
        DeleteFileA(std::exchange(m_temporary, {}).c_str());
}

} // namespace wdlt

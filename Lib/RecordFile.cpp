#include "RecordFile.h"

#include "StoreFile.h"
#include "WdCommon/DebugLog.h"

#include <utility>
#include <wdltcfg/status.h>

// Logs a line that begins with the class name of the family. %hs is narrow text in narrow and wide formats alike.
#define FRAME_LINE(level, text, ...)                                                                                   \
    do {                                                                                                               \
        if (m_family.isWide)                                                                                           \
            WDLOGW(level, WTEXT("CEncryptedDB") text __VA_OPT__(, ) __VA_ARGS__);                                      \
        else                                                                                                           \
            WDLOG(level, "CUrlFilterDB" text __VA_OPT__(, ) __VA_ARGS__);                                              \
    } while (false)
#define FRAME_ERROR(...) FRAME_LINE(kLogError, __VA_ARGS__)
#define FRAME_TRACE(...) FRAME_LINE(kLogTrace, __VA_ARGS__)

namespace wdlt {
namespace {

// The last error, in the type that %lu takes.
unsigned long lastError() {
    return GetLastError();
}

} // namespace

RecordFile::~RecordFile() {
    CloseFile();
    if (isWriting())
        DeleteTempFile();
    Unlock();
}

std::int32_t RecordFile::InitEncryptionMethod(int /*forWriting*/) {
    return WDLT_OK;
}

bool RecordFile::Lock() {
    if (m_pszMutexName == nullptr) {
        FRAME_ERROR("::Lock(): Not initialized (m_pszMutexName=NULL)");
        return false;
    }
    const StoreMutex::Taking taking = m_mutex.take(m_pszMutexName);
    switch (taking.outcome) {
    case StoreMutex::Outcome::Taken:
        return true;
    case StoreMutex::Outcome::HeldAlready:
        break;
    case StoreMutex::Outcome::NotCreated:
        FRAME_ERROR("::Lock(): CreateMutex() fails (err=%lu)", taking.error);
        break;
    case StoreMutex::Outcome::Abandoned:
        FRAME_ERROR("::Lock(): WaitForSingleObject() fails (WAIT_ABANDONED)");
        break;
    case StoreMutex::Outcome::TimedOut:
        FRAME_ERROR("::Lock(): WaitForSingleObject() fails (WAIT_TIMEOUT)");
        break;
    case StoreMutex::Outcome::Failed:
        FRAME_ERROR("::Lock(): WaitForSingleObject() fails (ret=%d, err=%lu)", taking.waited, taking.error);
        break;
    }
    return false;
}

std::int32_t RecordFile::OpenDBToRead(const char* pszFilename) {
    if (pszFilename == nullptr) {
        FRAME_ERROR("::OpenDBToRead(): pszFilename=NULL");
        return WDLT_E_GENERAL;
    }
    OpenedFile opened = openStoreFile(pszFilename, FILE_SHARE_READ);
    if (opened.outcome == OpenedFile::Outcome::NotOpened && opened.error == ERROR_FILE_NOT_FOUND) {
        if (m_family.tellsMissingFile)
            FRAME_TRACE("::OpenDBToRead(): no database file (err=%lu, file=%hs)", opened.error, pszFilename);
        return WDLT_E_FILE_NOT_FOUND;
    }
    if (opened.outcome == OpenedFile::Outcome::NotOpened) {
        FRAME_ERROR("::OpenDBToRead(): ::CreateFile() failed (err=%lu, file=%hs)", opened.error, pszFilename);
        return WDLT_E_FILE;
    }
    if (opened.outcome == OpenedFile::Outcome::NotSought) {
        FRAME_ERROR("::OpenDBToRead(): ::SetFilePointer() failed (err=%lu, file=%hs)", opened.error, pszFilename);
        return WDLT_E_FILE;
    }
    if (const std::int32_t status = InitEncryptionMethod(0); status != WDLT_OK) {
        FRAME_ERROR("::OpenDBToRead(): InitEncryptionMethod() failed (%d)", status);
        CloseHandle(opened.handle);
        return status;
    }
    m_hFile.open(opened.handle);
    m_strFile = std::move(opened.name);
    m_AccessMode = kReading;
    return WDLT_OK;
}

std::int32_t RecordFile::OpenTempFileToWrite() {
    OpenedFile made = makeTempFile(m_strTempFolder, m_family.tempPrefix);
    switch (made.outcome) {
    case OpenedFile::Outcome::Opened:
        break;
    case OpenedFile::Outcome::NoName:
        FRAME_ERROR("::OpenTempFileToWrite(): ::GetTempFileName() failed (path=\"%hs\", err=%lu)", m_strTempFolder,
                    made.error);
        return WDLT_E_TEMP_FILE;
    case OpenedFile::Outcome::NotOpened:
        FRAME_ERROR("::OpenTempFileToWrite(): ::CreateFile() failed (err=%lu, file=%hs)", made.error, made.name);
        return WDLT_E_FILE;
    case OpenedFile::Outcome::NotSought:
        FRAME_ERROR("::OpenTempFileToWrite(): ::SetFilePointer() failed (err=%lu, file=%hs)", made.error, made.name);
        return WDLT_E_FILE;
    }
    if (const std::int32_t status = InitEncryptionMethod(1); status != WDLT_OK) {
        CloseHandle(made.handle);
        DeleteFileA(made.name.c_str());
        return status;
    }
    m_hFile.open(made.handle);
    m_strFile = std::move(made.name);
    m_AccessMode = kWriting;
    return WDLT_OK;
}

std::int32_t RecordFile::ReadDBHeader(DWORD& count) {
    if (!isReading()) {
        FRAME_ERROR("::ReadDBHeader(): Invalid mode (m_AccessMode=%d)", m_AccessMode);
        return WDLT_E_GENERAL;
    }
    if (m_pszDBGuid == nullptr) {
        FRAME_ERROR("::ReadDBHeader(): Not initialized (m_pszDBGuid=NULL)");
        return WDLT_E_GENERAL;
    }
    if (m_dwDBVersion == 0) {
        FRAME_ERROR("::ReadDBHeader(): Not initialized (m_dwDBVersion=0)");
        return WDLT_E_GENERAL;
    }
    if (!m_hFile.isOpen()) {
        FRAME_ERROR("::ReadDBHeader(): Not initialized (m_hFile=INVALID_HANDLE_VALUE)");
        return WDLT_E_GENERAL;
    }
    const HeaderFault fault = readStoreHeader({m_pszDBGuid, m_dwDBVersion}, count,
                                              [this](void* field, DWORD size) { return readHeaderField(field, size); });
    switch (fault.kind) {
    case HeaderFault::Kind::None:
        break;
    case HeaderFault::Kind::Guid:
        FRAME_ERROR("::ReadDBHeader(): ::ReadFile() failed on reading GUID (err=%lu, file=%hs)", lastError(),
                    m_strFile);
        break;
    case HeaderFault::Kind::ForeignGuid:
        FRAME_ERROR("::ReadDBHeader(): Invalid GUID (file=%hs)", m_strFile);
        return WDLT_E_FILE;
    case HeaderFault::Kind::Version:
        FRAME_ERROR("::ReadDBHeader(): ::ReadFile() failed on reading version (err=%lu, file=%hs)", lastError(),
                    m_strFile);
        break;
    case HeaderFault::Kind::ForeignVersion:
        FRAME_ERROR("::ReadDBHeader(): Invalid version (version=0x%08x, file=%hs)", fault.version, m_strFile);
        return WDLT_E_FILE;
    case HeaderFault::Kind::Count:
        FRAME_ERROR("::ReadDBHeader(): ::ReadFile() failed on reading count (err=%lu, file=%hs)", lastError(),
                    m_strFile);
        break;
    }
    return fault.status;
}

std::int32_t RecordFile::WriteDBHeader(DWORD dwNumOfRecords) {
    if (!isWriting()) {
        FRAME_ERROR("::WriteDBHeader(): Invalid mode (m_AccessMode=%d)", m_AccessMode);
        return WDLT_E_GENERAL;
    }
    if (m_pszDBGuid == nullptr) {
        FRAME_ERROR("::WriteDBHeader(): Not initialized (m_pszDBGuid=NULL)");
        return WDLT_E_GENERAL;
    }
    if (m_dwDBVersion == 0) {
        FRAME_ERROR("::WriteDBHeader(): Not initialized (m_dwDBVersion=0)");
        return WDLT_E_GENERAL;
    }
    if (!m_hFile.isOpen()) {
        FRAME_ERROR("::WriteDBHeader(): Not initialized (m_hFile=INVALID_HANDLE_VALUE)");
        return WDLT_E_GENERAL;
    }
    const HeaderFault fault =
        writeStoreHeader({m_pszDBGuid, m_dwDBVersion}, dwNumOfRecords,
                         [this](const void* field, DWORD size) { return writeHeaderField(field, size); });
    switch (fault.kind) {
    case HeaderFault::Kind::Guid:
        FRAME_ERROR("::WriteDBHeader(): ::WriteFile() failed on writing GUID (err=%lu, file=%hs)", lastError(),
                    m_strFile);
        break;
    case HeaderFault::Kind::Version:
        FRAME_ERROR("::WriteDBHeader(): ::WriteFile() failed on writing version (err=%lu, file=%hs)", lastError(),
                    m_strFile);
        break;
    case HeaderFault::Kind::Count:
        FRAME_ERROR("::WriteDBHeader(): ::WriteFile() failed on writing count (err=%lu, file=%hs)", lastError(),
                    m_strFile);
        break;
    default:
        break;
    }
    return fault.status;
}

std::int32_t RecordFile::CopyTempFileToDB(const char* pszFilename) {
    if (!isWriting()) {
        FRAME_ERROR("::CopyTempFileToDB(): Invalid mode (m_AccessMode=%d)", m_AccessMode);
        return WDLT_E_GENERAL;
    }
    if (pszFilename == nullptr) {
        FRAME_ERROR("::CopyTempFileToDB(): pszFilename=NULL");
        return WDLT_E_GENERAL;
    }
    if (CopyFileA(m_strFile.c_str(), pszFilename, FALSE) == FALSE) {
        FRAME_ERROR("::CopyTempFileToDB: ::CopyFile() failed (err=%lu, from=%hs, to=%hs)", lastError(), m_strFile,
                    pszFilename);
        return WDLT_E_TEMP_FILE;
    }
    return WDLT_OK;
}

std::int32_t RecordFile::DeleteTempFile() {
    if (!isWriting()) {
        FRAME_ERROR("::DeleteTempFile(): Invalid mode (m_AccessMode=%d)", m_AccessMode);
        return WDLT_E_GENERAL;
    }
    if (m_strFile.empty())
        return WDLT_OK;
    if (DeleteFileA(m_strFile.c_str()) == FALSE) {
        FRAME_ERROR("::DeleteTempFile(): ::DeleteFile() failed (err=%lu, file=%hs)", lastError(), m_strFile);
        return WDLT_E_TEMP_FILE;
    }
    m_strFile.clear();
    return WDLT_OK;
}

// The families' log texts differ here by more than the class name.
std::int32_t RecordFile::readBytes(void* buffer, DWORD size) {
    const BufferedFile::Moved moved = m_hFile.read(buffer, size);
    if (!moved.done) {
        if (m_family.isWide)
            WDLOGW(kLogError, WTEXT("CEncryptedDB: ::ReadData() failed (err=%lu, file=%hs)"), lastError(), m_strFile);
        else
            WDLOG_ERROR("CUrlFilterDB: ::ReadFile() failed (err=%lu, file=%s)", lastError(), m_strFile);
        return WDLT_E_FILE;
    }
    if (moved.bytes != size) {
        const unsigned long wanted = size;
        const unsigned long got = moved.bytes;
        if (m_family.isWide)
            WDLOGW(kLogError, WTEXT("CEncryptedDB: Read size unmatched (dwReadSize=%lu, dwBlockSize=%lu, file=%hs)"),
                   got, wanted, m_strFile);
        else
            WDLOG_ERROR("CUrlFilterDB: Read size unmatched (dwReadSize=%lu, dwSizeToRead=%lu, file=%s)", got, wanted,
                        m_strFile);
        return WDLT_E_FILE;
    }
    return WDLT_OK;
}

std::int32_t RecordFile::writeBytes(const void* buffer, DWORD size) {
    return wroteBytes(m_hFile.write(buffer, size), size);
}

std::int32_t RecordFile::flushBytes() {
    const DWORD waiting = m_hFile.waiting();
    return wroteBytes(m_hFile.flush(), waiting);
}

std::int32_t RecordFile::wroteBytes(const BufferedFile::Moved& moved, DWORD size) {
    if (!moved.done) {
        FRAME_ERROR(": ::WriteFile() failed (err=%lu, file=%hs)", lastError(), m_strFile);
        return WDLT_E_FILE;
    }
    if (moved.bytes != size) {
        const unsigned long wanted = size;
        const unsigned long put = moved.bytes;
        if (m_family.isWide)
            WDLOGW(kLogError,
                   WTEXT("CEncryptedDB: Written size unmatched (dwWrittenSize=%lu, dwEncryptedSize=%lu, file=%hs)"),
                   put, wanted, m_strFile);
        else
            WDLOG_ERROR("CUrlFilterDB: Written size unmatched (dwWrittenSize=%lu, dwSizeToWrite=%lu, file=%s)", put,
                        wanted, m_strFile);
        return WDLT_E_FILE;
    }
    return WDLT_OK;
}

RecordFile::Reading::Reading(RecordFile& file, const Store& store, const char* name)
    : m_file(file), m_status(WDLT_E_GENERAL) {
    if (!m_file.Lock()) {
        WDLOG_ERROR("%s: Failed to lock for reading DB", store.name);
        return;
    }
    m_status = m_file.OpenDBToRead(name);
    m_isUnopened = m_status != WDLT_OK;
    if (m_status == WDLT_OK)
        m_status = m_file.ReadDBHeader(m_count);
    if (m_status != WDLT_OK || m_count <= store.maximum)
        return;
    const unsigned long count = m_count;
    WDLOG_ERROR("%s: The DB file contains too many record (count=%lu, file=%s)", store.name, count, m_file.m_strFile);
    if (store.cutsLongLists)
        m_count = store.maximum;
    else
        m_status = WDLT_E_GENERAL;
}

RecordFile::Reading::~Reading() {
    m_file.CloseFile();
    m_file.Unlock();
}

std::int32_t RecordFile::beginWriting(const Store& store, DWORD count) {
    if (count > store.maximum) {
        const unsigned long value = count;
        WDLOG_ERROR("%s: Too big value (dwNumOfRecords=%lu)", store.name, value);
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (const std::int32_t status = OpenTempFileToWrite(); status != WDLT_OK) {
        WDLOG_ERROR("%s: Failed to open temporary file for writing DB", store.name);
        return status;
    }
    if (const std::int32_t status = WriteDBHeader(count); status != WDLT_OK) {
        WDLOG_ERROR("%s: Failed to write DB header", store.name);
        CloseFile();
        DeleteTempFile();
        return status;
    }
    return WDLT_OK;
}

std::int32_t RecordFile::endWriting(const Store& store, const char* file, std::int32_t status) {
    CloseFile();
    if (status == WDLT_OK) {
        if (Lock()) {
            status = CopyTempFileToDB(file);
            Unlock();
        } else {
            WDLOG_ERROR("%s: Failed to lock for writing DB", store.name);
            status = WDLT_E_GENERAL;
        }
    }
    DeleteTempFile();
    return status;
}

} // namespace wdlt

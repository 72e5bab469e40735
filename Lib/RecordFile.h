// The base of the protected record files, of which there are two families: CUrlFilterDB, with a plain header and
// records that the store enciphers one by one, and CEncryptedDB, where every byte belongs to one cipher chain. It holds
// a store's mutex between processes, opens, reads and writes files, and replaces the old file with a new one.
//
// An object lives on its caller's stack for a pass or a few, and belongs to one thread. The store's mutex is the last
// in the lock order. It is held for a whole read, and for the copy at the end of a write but not while the temporary
// file is being written: of two writers the last to copy wins, and a reader sees one complete list. A pass that is
// given up half-way, or ended by a crash, leaves the stored file as it was.
#pragma once

#include "BufferedFile.h"
#include "StoreFile.h"
#include "StoreMutex.h"

#include <platform/win32.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace wdlt {

class RecordFile {
  public:
    // What the two families differ in.
    struct Family {
        const char* tempPrefix;
        bool isWide;           // its log lines have UTF-16 formats
        bool tellsMissingFile; // logs a trace line
    };
    // A store's name in log lines, and its limit.
    struct Store {
        const char* name;
        DWORD maximum;
        bool cutsLongLists; // reads only the maximum of a longer list in a file; else WDLT_E_GENERAL
    };

    // Closes the file, removes a temporary one, releases the mutex.
    virtual ~RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    // Fills the caller's list from a file. WDLT_E_BUFFER_SIZE, with the list's size in `*size`, when the buffer is
    // smaller. After any other error the list must not be used.
    [[nodiscard]] virtual std::int32_t Read(const char* file, void* buffer, std::uint64_t* size) = 0;
    // Replaces a file with the caller's list; WDLT_E_INVALID_ARGUMENT unless `*size` is the list's size.
    [[nodiscard]] virtual std::int32_t Write(const char* file, const void* buffer, std::uint64_t* size) = 0;

    // Where temporary files are created; by default the working directory.
    void setTempFolder(std::string folder) { m_strTempFolder = std::move(folder); }

  protected:
    explicit RecordFile(const Family& family) : m_family(family) {}

    // Called before anything is read from a file, and after a temporary file was created. An error fails the open.
    [[nodiscard]] virtual std::int32_t InitEncryptionMethod(int forWriting);

    // A read pass up to the records: takes the mutex, opens the file, reads the header. The destructor closes and
    // unlocks.
    class Reading {
      public:
        Reading(RecordFile& file, const Store& store, const char* name);
        ~Reading();
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;

        [[nodiscard]] std::int32_t status() const { return m_status; }
        // The mutex was taken, but the file couldn't be opened.
        bool isUnopened() const { return m_isUnopened; }
        DWORD count() const { return m_count; }

      private:
        RecordFile& m_file;
        std::int32_t m_status;
        DWORD m_count = 0;
        bool m_isUnopened = false;
    };

    // A whole write pass around `writeRecords()`, which returns a status.
    template <class WriteRecords>
    [[nodiscard]] std::int32_t writePass(const Store& store, const char* file, DWORD count,
                                         WriteRecords&& writeRecords) {
        const std::int32_t status = beginWriting(store, count);
        return status == 0 ? endWriting(store, file, writeRecords()) : status;
    }

    bool Lock();
    void Unlock() { m_mutex.release(); }
    [[nodiscard]] std::int32_t OpenDBToRead(const char* pszFilename);
    [[nodiscard]] std::int32_t OpenTempFileToWrite();
    void CloseFile() { m_hFile.close(); }
    [[nodiscard]] std::int32_t ReadDBHeader(DWORD& count);
    [[nodiscard]] std::int32_t WriteDBHeader(DWORD dwNumOfRecords);
    [[nodiscard]] std::int32_t CopyTempFileToDB(const char* pszFilename);
    std::int32_t DeleteTempFile();

    bool isReading() const { return m_AccessMode == kReading; }
    bool isWriting() const { return m_AccessMode == kWriting; }
    int accessMode() const { return m_AccessMode; }
    const std::string& file() const { return m_strFile; }

    // Transfers raw bytes of the file: all of them, or WDLT_E_FILE (logged).
    [[nodiscard]] std::int32_t readBytes(void* buffer, DWORD size);
    [[nodiscard]] std::int32_t writeBytes(const void* buffer, DWORD size);
    // To be called after the last record. Returns as writeBytes does.
    [[nodiscard]] std::int32_t flushBytes();

    // Set by each store's constructor; not owned. The GUID has 32 bytes and may lack a terminator.
    const char* m_pszMutexName = nullptr;
    const char* m_pszDBGuid = nullptr;
    DWORD m_dwDBVersion = 0;

  private:
    static constexpr int kNotOpen = 0;
    static constexpr int kReading = 1;
    static constexpr int kWriting = 2;

    // Reads or writes one field of the header. An error ends the header.
    [[nodiscard]] virtual std::int32_t readHeaderField(void* field, DWORD size) = 0;
    [[nodiscard]] virtual std::int32_t writeHeaderField(const void* field, DWORD size) = 0;

    [[nodiscard]] std::int32_t beginWriting(const Store& store, DWORD count);
    [[nodiscard]] std::int32_t endWriting(const Store& store, const char* file, std::int32_t status);
    [[nodiscard]] std::int32_t wroteBytes(const BufferedFile::Moved& moved, DWORD size);

    const Family& m_family;
    StoreMutex m_mutex;

  protected:
    BufferedFile m_hFile;

  private:
    std::string m_strFile; // the database when reading, the temporary file when writing
    std::string m_strTempFolder = ".";
    int m_AccessMode = kNotOpen; // kept when the file is closed
};

} // namespace wdlt

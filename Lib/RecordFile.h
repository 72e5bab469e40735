// The frame of the protected record files, told once for its two families: CUrlFilterDB, with a plain header and
// records that the store enciphers one by one, and CEncryptedDB, of which every byte is one cipher chain. It holds the
// mutex of a store between processes, opens, moves data, and puts a new file in the old one's place.
//
// An object lives for a pass or a few, on its caller's stack, and is one thread's. The store's mutex comes after every
// other lock. It is held for a whole read, and for the copy at the end of a write but not while the temporary file is
// being written: of two writers the last to copy wins, and a reader sees the whole of one. A pass given up half-way, or
// by a crash, leaves the stored file as it was.
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
    // What sets the two families apart in the frame.
    struct Family {
        const char* tempPrefix;
        bool isWide;           // its lines go to the log's wide entry
        bool tellsMissingFile; // by a trace line
    };
    // A store, for its lines and its limit.
    struct Store {
        const char* name;
        DWORD maximum;
        bool cutsLongLists; // a longer list of a file is cut to the maximum, else refused with WDLT_E_GENERAL
    };

    // Closes what is open, removes a temporary file, gives the mutex up.
    virtual ~RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    // Fills the caller's list from a file. With less than the list's size, WDLT_E_BUFFER_SIZE and the size in `*size`.
    // After any other code the list is not to be used.
    [[nodiscard]] virtual std::int32_t Read(const char* file, void* buffer, std::uint64_t* size) = 0;
    // Replaces a file by the caller's list; WDLT_E_INVALID_ARGUMENT unless `*size` is the list's.
    [[nodiscard]] virtual std::int32_t Write(const char* file, const void* buffer, std::uint64_t* size) = 0;

    // Where temporary files are made; the working directory until it is set.
    void setTempFolder(std::string folder) { m_strTempFolder = std::move(folder); }

  protected:
    explicit RecordFile(const Family& family) : m_family(family) {}

    // Before anything of a file is read, after a file to write was made: 0, or the code with which opening ends.
    [[nodiscard]] virtual std::int32_t InitEncryptionMethod(int forWriting);

    // A read pass as far as the records: the mutex, the file, the header. At its end it closes and gives back all.
    class Reading {
      public:
        Reading(RecordFile& file, const Store& store, const char* name);
        ~Reading();
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;

        std::int32_t status() const { return m_status; }
        // The mutex was had and the file couldn't be opened.
        bool isUnopened() const { return m_isUnopened; }
        DWORD count() const { return m_count; }

      private:
        RecordFile& m_file;
        std::int32_t m_status;
        DWORD m_count = 0;
        bool m_isUnopened = false;
    };

    // A whole write pass around `writeRecords()`, which gives a status.
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

    // Bytes as they stand in the file, all of them or WDLT_E_FILE with a line.
    [[nodiscard]] std::int32_t readBytes(void* buffer, DWORD size);
    [[nodiscard]] std::int32_t writeBytes(const void* buffer, DWORD size);
    // Brings what was written into the file; after the last record. As writeBytes.
    [[nodiscard]] std::int32_t flushBytes();

    // Set by each store's constructor; not owned. The magic text has 32 bytes, a terminator among them or not.
    const char* m_pszMutexName = nullptr;
    const char* m_pszDBGuid = nullptr;
    DWORD m_dwDBVersion = 0;

  private:
    static constexpr int kNotOpen = 0;
    static constexpr int kReading = 1;
    static constexpr int kWriting = 2;

    // One field of the header. The code with which the header ends.
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
    std::string m_strFile; // the database, or the temporary file, as the mode is
    std::string m_strTempFolder = ".";
    int m_AccessMode = kNotOpen; // closing the file leaves it
};

} // namespace wdlt

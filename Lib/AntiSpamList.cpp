#include "AntiSpamList.h"

#include "WdCommon/DebugLog.h"

#include <platform/file_content.h>
#include <platform/home.h>
#include <platform/win32.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t kEntryBytes = sizeof(WdpeAspmEntry);

unsigned long lastError() {
    return GetLastError();
}

// Reads an open file as text: CR LF becomes LF. Owns the handle.
class TextStream {
  public:
    static constexpr int kEnd = -1;

    explicit TextStream(HANDLE file) : m_file(file) {}
    ~TextStream() { CloseHandle(m_file); }
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;

    int get() {
        if (peek() == '\r') {
            ++m_begin;
            if (peek() != '\n')
                return '\r';
        }
        const int byte = peek();
        m_begin += byte == kEnd ? 0 : 1;
        return byte;
    }
    // A line with its newline, or as much of it as fits. False at the end of the file.
    bool getLine(std::array<char, kEntryBytes>& line) {
        std::size_t length = 0;
        while (length < line.size() - 1) {
            const int byte = get();
            if (byte == kEnd)
                break;
            line[length++] = static_cast<char>(byte);
            if (byte == '\n')
                break;
        }
        line[length] = '\0';
        return length != 0;
    }
    bool failed() const { return m_failed; }

  private:
    int peek() {
        if (m_begin == m_end && !fill())
            return kEnd;
        return static_cast<unsigned char>(m_piece[m_begin]);
    }
    bool fill() {
        m_begin = m_end = 0;
        m_failed =
            m_failed || ReadFile(m_file, m_piece.data(), static_cast<DWORD>(m_piece.size()), &m_end, nullptr) == FALSE;
        if (m_failed)
            m_end = 0;
        return m_end != 0;
    }

    HANDLE m_file;
    std::array<char, 4096> m_piece;
    DWORD m_begin = 0;
    DWORD m_end = 0;
    bool m_failed = false;
};

// A null byte in a line ends its entry.
bool takeEntry(TextStream& stream, WdpeAspmEntry& entry) {
    std::array<char, kEntryBytes> line;
    while (stream.getLine(line)) {
        std::size_t length = std::strlen(line.data());
        if (length > 0 && line[length - 1] == '\n')
            --length;
        if (length == 0)
            continue;
        std::copy_n(line.begin(), length, entry.szEntry);
        return true;
    }
    return false;
}

bool isMissing(const char* path) {
    if (GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES)
        return false;
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// The layer replaces files by their paths.
bool replaceContent(const char* name, const std::string& content) {
    std::array<char, PATH_MAX> path;
    if (const DWORD error = WdPathOfName(name, path.data(), static_cast<DWORD>(path.size()))) {
        SetLastError(error);
        return false;
    }
    return WdReplaceContent(path.data(), content.data(), static_cast<DWORD>(content.size())) != FALSE;
}

bool writeInPlace(const char* path, const std::string& content) {
    HANDLE file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    const bool done = WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) != FALSE;
    const DWORD error = GetLastError();
    CloseHandle(file);
    SetLastError(error);
    return done && written == content.size();
}

} // namespace

bool CAntiSpamList::Lock() {
    const wdlt::StoreMutex::Taking taking = m_mutex.take("WDPE_AspmList_Access_Mutex");
    const bool taken = taking.outcome == wdlt::StoreMutex::Outcome::Taken;
    if (!taken)
        WDLOG_ERROR("CAntiSpamList::Lock(): the mutex isn't to be had (outcome=%d, err=%lu)",
                    static_cast<int>(taking.outcome), taking.error);
    return taken;
}

// Runs `use` on the file's text, with the mutex held. Says whether the file could be read.
template <class Use>
CAntiSpamList::State CAntiSpamList::withFile(const char* path, Use&& use) {
    if (!Lock())
        return isMissing(path) ? State::Missing : State::Unreadable;
    State state = State::Read;
    unsigned long error = 0; // taken before the file is closed
    HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        TextStream stream(file);
        use(stream);
        error = lastError();
        if (stream.failed())
            state = State::Unreadable;
    } else {
        error = lastError();
        state = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? State::Missing : State::Unreadable;
    }
    if (state == State::Unreadable)
        WDLOG_ERROR("CAntiSpamList: the list can't be read (err=%lu, file=%s)", error, path);
    Unlock();
    return state;
}

CAntiSpamList::State CAntiSpamList::Load(const char* path, WdpeAspmEntry* entries, int maximum, int& count) {
    const auto clear = [&] {
        std::fill_n(entries, maximum, WdpeAspmEntry{});
        count = 0;
    };
    clear();
    const State state = withFile(path, [&](TextStream& stream) {
        while (count < maximum && takeEntry(stream, entries[count]))
            ++count;
    });
    if (state != State::Read)
        clear();
    return state;
}

CAntiSpamList::State CAntiSpamList::Look(const char* path) {
    return withFile(path, [](TextStream& stream) { stream.get(); });
}

int CAntiSpamList::ReadList(const char* path, WdpeAspmEntry* entries, int maximum, int* count) {
    return Load(path, entries, maximum, *count) == State::Read ? 1 : 0;
}

int CAntiSpamList::WriteList(const char* path, const WdpeAspmEntry* entries, int count) {
    std::string content;
    for (int i = 0; i < count; ++i)
        content.append(entries[i].szEntry, strnlen(entries[i].szEntry, kEntryBytes)).append("\n");
    if (!Lock())
        return 0;
    const bool written =
        replaceContent(path, content) || (GetLastError() == ERROR_ACCESS_DENIED && writeInPlace(path, content));
    if (!written)
        WDLOG_ERROR("CAntiSpamList::WriteList(): the list can't be written (err=%lu, file=%s)", lastError(), path);
    Unlock();
    return written ? 1 : 0;
}

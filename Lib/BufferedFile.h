// A buffered file, read or written from its start, so that many small items cost few system calls. Owns the handle. A
// failure shows at the item that it belongs to: when the buffer can't be filled, the items are read one by one. What
// was written is in the file only after flush().
#pragma once

#include <platform/win32.h>

#include <cstdint>
#include <memory>
#include <span>

namespace wdlt {

class BufferedFile {
  public:
    // `done`: false, with GetLastError, when a call failed. `bytes`: how many were transferred; fewer than asked for,
    // without a failure, at the end of the file.
    struct Moved {
        bool done;
        DWORD bytes;
    };

    BufferedFile() = default;
    ~BufferedFile() { close(); }
    BufferedFile(const BufferedFile&) = delete;
    BufferedFile& operator=(const BufferedFile&) = delete;

    // Takes over the handle of a file that is positioned at its start.
    void open(HANDLE file);
    bool isOpen() const { return m_file != INVALID_HANDLE_VALUE; }
    // Unflushed data is lost.
    void close();

    Moved read(void* buffer, DWORD bytes);
    // What was read with the items before, and lies ahead of the next one. It stays there as long as the items that are
    // read lie in it.
    std::span<const std::uint8_t> ahead() const { return {m_piece.get() + m_begin, m_end - m_begin}; }
    // Skips that many bytes, past the end of the file too. False, with GetLastError, when it can't.
    bool skip(std::uint64_t bytes);
    // Whether the file has at least that many bytes from here on; false also when that can't be determined.
    bool hasAhead(std::uint64_t bytes);
    Moved write(const void* buffer, DWORD bytes);
    // Bytes written and not yet flushed.
    DWORD waiting() const { return m_end; }
    Moved flush();

  private:
    bool fill();
    bool seek(std::int64_t position);

    HANDLE m_file = INVALID_HANDLE_VALUE;
    std::unique_ptr<std::uint8_t[]> m_piece; // null without memory for it: each item is then a call of its own
    DWORD m_begin = 0;                       // up to m_end: read and not taken, or written and not flushed
    DWORD m_end = 0;
    std::int64_t m_position = 0;  // of the buffer's end in the file
    bool m_isPastEnd = false;     // the file ends where the buffer ends
    bool m_failsInPieces = false; // each item is a call of its own from here on
};

} // namespace wdlt

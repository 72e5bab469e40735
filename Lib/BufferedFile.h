// An open file read or written from its start in large pieces, so that many small items cost few system calls. Owns the
// handle. What fails, fails at the item that it belongs to: a piece that can't be read is asked for again item by item.
// What is written is in the file after flush().
#pragma once

#include <platform/win32.h>

#include <cstdint>
#include <memory>

namespace wdlt {

class BufferedFile {
  public:
    // `done` is false with GetLastError when a call failed. `bytes` says how many were moved: fewer than asked without
    // a failure at the end of the file.
    struct Moved {
        bool done;
        DWORD bytes;
    };

    BufferedFile() = default;
    ~BufferedFile() { close(); }
    BufferedFile(const BufferedFile&) = delete;
    BufferedFile& operator=(const BufferedFile&) = delete;

    // Takes the handle of a file that stands at its start.
    void open(HANDLE file);
    bool isOpen() const { return m_file != INVALID_HANDLE_VALUE; }
    // What wasn't flushed is lost.
    void close();

    Moved read(void* buffer, DWORD bytes);
    // Goes on that many bytes further, behind the file's end, too. False with GetLastError when it can't.
    bool skip(std::uint64_t bytes);
    // Whether the file has at least that many bytes from here on; false also when nobody can tell.
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
    DWORD m_begin = 0;                       // in the piece: what is read and not taken, or written and not flushed
    DWORD m_end = 0;
    std::int64_t m_position = 0;  // of the piece's end in the file
    bool m_isPastEnd = false;     // nothing is to be read behind the piece
    bool m_failsInPieces = false; // each item is a call of its own from here on
};

} // namespace wdlt

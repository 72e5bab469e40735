#include "BufferedFile.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace wdlt {
namespace {

constexpr DWORD kPieceBytes = 64 * 1024;

} // namespace

void BufferedFile::open(HANDLE file) {
    close();
    m_file = file;
    if (m_piece == nullptr)
        m_piece.reset(new (std::nothrow) std::uint8_t[kPieceBytes]);
    m_begin = m_end = 0;
    m_position = 0;
    m_isPastEnd = false;
    m_failsInPieces = m_piece == nullptr;
}

void BufferedFile::close() {
    if (!isOpen())
        return;
    const DWORD error = GetLastError();
    CloseHandle(m_file);
    SetLastError(error);
    m_file = INVALID_HANDLE_VALUE;
}

bool BufferedFile::seek(std::int64_t position) {
    auto high = static_cast<LONG>(position >> 32);
    return SetFilePointer(m_file, static_cast<LONG>(position & 0xFFFFFFFF), &high, FILE_BEGIN) !=
               INVALID_SET_FILE_POINTER ||
           GetLastError() == ERROR_SUCCESS; // a position that equals the failure value
}

bool BufferedFile::skip(std::uint64_t bytes) {
    const DWORD inPiece = m_end - m_begin;
    if (bytes <= inPiece) {
        m_begin += static_cast<DWORD>(bytes);
        return true;
    }
    const std::int64_t position = m_position + static_cast<std::int64_t>(bytes - inPiece);
    if (!seek(position))
        return false;
    m_begin = m_end = 0;
    m_position = position;
    m_isPastEnd = false;
    return true;
}

bool BufferedFile::hasAhead(std::uint64_t bytes) {
    const DWORD inPiece = m_end - m_begin;
    if (bytes <= inPiece)
        return true;
    LONG high = 0;
    const DWORD low = SetFilePointer(m_file, 0, &high, FILE_END);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != ERROR_SUCCESS)
        return false;
    const auto behindPiece = ((std::int64_t{high} << 32) | low) - m_position;
    return seek(m_position) && behindPiece >= 0 && static_cast<std::uint64_t>(behindPiece) >= bytes - inPiece;
}

// False when the read fails; the file position is then where it was.
bool BufferedFile::fill() {
    DWORD got = 0;
    if (ReadFile(m_file, m_piece.get(), kPieceBytes, &got, nullptr) == FALSE) {
        seek(m_position);
        return false;
    }
    m_begin = 0;
    m_end = got;
    m_position += got;
    m_isPastEnd = got < kPieceBytes;
    return true;
}

BufferedFile::Moved BufferedFile::read(void* buffer, DWORD bytes) {
    DWORD taken = 0;
    for (;;) {
        const DWORD part = std::min(bytes - taken, m_end - m_begin);
        if (part != 0)
            std::memcpy(static_cast<std::uint8_t*>(buffer) + taken, m_piece.get() + m_begin, part);
        m_begin += part;
        taken += part;
        if (taken == bytes || m_isPastEnd)
            return {true, taken};
        if (m_failsInPieces || !fill())
            break;
    }
    m_failsInPieces = true;
    DWORD got = 0;
    const bool done =
        ReadFile(m_file, static_cast<std::uint8_t*>(buffer) + taken, bytes - taken, &got, nullptr) != FALSE;
    m_position += got;
    return {done, taken + got};
}

BufferedFile::Moved BufferedFile::flush() {
    const DWORD waiting = m_end;
    m_end = 0;
    DWORD written = 0;
    const bool done = waiting == 0 || WriteFile(m_file, m_piece.get(), waiting, &written, nullptr) != FALSE;
    return {done, written};
}

BufferedFile::Moved BufferedFile::write(const void* buffer, DWORD bytes) {
    const bool fits = m_piece != nullptr && bytes <= kPieceBytes;
    if (!fits || bytes > kPieceBytes - m_end) {
        const DWORD before = waiting();
        if (const Moved flushed = flush(); !flushed.done || flushed.bytes != before)
            return {flushed.done, 0};
    }
    if (fits) {
        std::memcpy(m_piece.get() + m_end, buffer, bytes);
        m_end += bytes;
        return {true, bytes};
    }
    DWORD written = 0;
    const bool done = WriteFile(m_file, buffer, bytes, &written, nullptr) != FALSE;
    return {done, written};
}

} // namespace wdlt

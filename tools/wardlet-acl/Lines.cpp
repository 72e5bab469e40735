#include "Lines.h"

#include "Files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace wdlt {
namespace {

constexpr std::size_t kReadBytes = 65536; // what a pipe holds

} // namespace

// One byte more for the end of a last line without one.
Lines::Lines(int descriptor) : m_descriptor(descriptor), m_buffer(kMostBytes + kReadBytes + 1, '\0') {}

bool Lines::read(std::vector<std::string_view>& lines) {
    lines.clear();
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    while (lines.empty()) {
        m_end = std::min(m_end, kMostBytes);
        const ssize_t got = ::read(m_descriptor, m_buffer.data() + m_end, kReadBytes);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw fileError("standard input", errno);
        if (got == 0 && m_end == 0)
            return false;
        if (got == 0)
            m_buffer[m_end] = '\n';
        take(std::max<std::size_t>(static_cast<std::size_t>(got), 1), lines);
    }
    return true;
}

void Lines::take(std::size_t bytes, std::vector<std::string_view>& lines) {
    const char* place = m_buffer.data() + m_end;
    m_end += bytes;
    const char* const end = m_buffer.data() + m_end;
    while (const void* newline = std::memchr(place, '\n', static_cast<std::size_t>(end - place))) {
        place = static_cast<const char*>(newline);
        const std::string_view line(m_buffer.data() + m_begin, place);
        lines.push_back(line.substr(0, kMostBytes));
        m_begin += line.size() + 1;
        ++place;
    }
}

void writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            throw fileError("standard output", errno);
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

} // namespace wdlt

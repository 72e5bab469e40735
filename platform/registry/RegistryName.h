// Names and paths of the registry: their limits, their folded form, and their encoding in records and in the database.
// Inside, a name is UTF-16 text with each unit encoded by itself in one to three bytes, as UTF-8 would encode that
// number, so that any unit sequence survives and byte order is unit order. Used by the registry's calls; no state.
#pragma once

#include <platform/base.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wd {

inline constexpr std::size_t kMaxNameUnits = 255;   // of a component or a value's name
inline constexpr std::size_t kMaxPathBytes = 32767; // of a folded path as coded here

// Whether every byte is below 0x80; such a text has the same bytes in the code page and as coded here.
bool isAscii(std::string_view text);

std::string codeUnits(std::u16string_view units);
// No value for bytes that codeUnits can't have made.
std::optional<std::u16string> unitsFromCoded(std::string_view coded);
// Each unit in simple upper case; names are compared and ordered by the result.
std::string foldCoded(std::u16string_view units);

// A coded name in the system code page.
std::string narrowName(std::string_view coded);

// A buffer that needs the heap only for unusually long texts: opening and querying are to allocate nothing.
template <std::size_t InlineBytes>
class SmallText {
  public:
    SmallText() = default;
    SmallText(const SmallText&) = delete;
    SmallText& operator=(const SmallText&) = delete;

    std::string_view view() const { return {data(), m_size}; }
    std::size_t size() const { return m_size; }

    // Room for `count` more bytes at the end, to be filled by the caller.
    char* extend(std::size_t count) {
        const std::size_t end = m_size;
        m_size += count;
        if (m_heap.empty()) {
            if (m_size <= InlineBytes)
                return m_inline.data() + end;
            m_heap.assign(m_inline.data(), end);
        }
        m_heap.resize(m_size);
        return m_heap.data() + end;
    }
    void append(std::string_view text) { text.copy(extend(text.size()), text.size()); }
    void truncate(std::size_t size) {
        m_size = size;
        if (!m_heap.empty())
            m_heap.resize(size);
    }

  private:
    const char* data() const { return m_heap.empty() ? m_inline.data() : m_heap.data(); }

    std::size_t m_size = 0;
    std::string m_heap; // empty: the text is in m_inline
    std::array<char, InlineBytes> m_inline;
};

// A value's name, folded and as written. Null stands for the empty name.
class ValueName {
  public:
    // 0, or ERROR_INVALID_PARAMETER for a name beyond the limits.
    DWORD set(LPCSTR name);
    DWORD set(LPCWSTR name);

    std::string_view folded() const { return m_folded.view(); }
    std::string_view written() const { return m_written; }

  private:
    DWORD setUnits(std::u16string_view units);

    SmallText<kMaxNameUnits> m_folded;
    std::string_view m_written; // the caller's text, or m_coded
    std::string m_coded;
};

// A key's path from the root, folded, components joined by `\`; the root's is empty. The part that a caller gave is
// also kept as written.
class KeyPath {
  public:
    explicit KeyPath(std::string_view foldedBase) { m_folded.append(foldedBase); }

    // Adds a sub-key path; null and empty add nothing. 0, ERROR_BAD_PATHNAME for a leading backslash or an empty
    // component, ERROR_INVALID_PARAMETER beyond the limits. One trailing backslash is ignored.
    DWORD append(LPCSTR subKey);
    DWORD append(LPCWSTR subKey);

    std::string_view folded() const { return m_folded.view(); }
    // What was appended, coded, without a trailing backslash.
    std::string_view written() const { return m_written; }
    bool hasSubKey() const { return !m_written.empty(); }

  private:
    DWORD appendUnits(std::u16string_view units);

    SmallText<480> m_folded;
    std::string_view m_written; // the caller's text, or m_coded
    std::string m_coded;
};

// Takes the first component off a path.
std::string_view takeComponent(std::string_view& path);
// The folded path of a key's parent, and the key's own part of it.
std::string_view parentPath(std::string_view folded);
std::string_view lastComponent(std::string_view folded);

// The database's key for a path. One that is too long for it is represented by its beginning and a digest of all of it.
class RecordKey {
  public:
    explicit RecordKey(std::string_view foldedPath);
    std::string_view view() const { return m_view; }

  private:
    static constexpr std::size_t kMaxBytes = 511; // what the database takes
    static constexpr std::size_t kDigestBytes = 32;
    static constexpr std::size_t kPrefixBytes = 448;

    void makeLong(std::string_view foldedPath);

    std::string_view m_view; // the path itself, or m_long
    std::array<char, 1 + kPrefixBytes + kDigestBytes> m_long;
};

} // namespace wd

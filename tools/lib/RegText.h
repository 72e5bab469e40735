/* .reg text: the document that a file stands for, its reader and its writer. Pure functions on bytes, without the
   registry: a file is read to its end before anything is done with it, and a subtree is one document before anything is
   printed. Text data is UTF-16LE throughout, as the format has it in hex(1), hex(2) and hex(7), so that it doesn't
   depend on a code page; bytes that are invalid in the code page come and go as surrogate halves (see Utf.h). */
#pragma once

#include <cstddef>
#include <platform/win32.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

struct RegValue {
    std::u16string name; /* empty: the key's default value */
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
    bool isDeletion = false; /* then neither type nor data counts */
};

struct RegKey {
    std::u16string path; /* below HKEY_LOCAL_MACHINE; empty for the root */
    std::vector<RegValue> values;
    bool isDeletion = false; /* with all below it; then without values */
};

/* Carried out from the first key to the last. */
struct RegDocument {
    std::vector<RegKey> keys;
};

/* Limits of the registry itself, checked by the reader so that an error has a place in the file. */
inline constexpr std::size_t kMaxNameUnits = 255;
inline constexpr std::size_t kMaxDataBytes = std::size_t{1} << 20;

/* Line and column count from 1, columns in characters. */
class RegSyntaxError : public std::runtime_error {
  public:
    RegSyntaxError(std::size_t line, std::size_t column, const std::string& message)
        : std::runtime_error(message), m_line(line), m_column(column) {}
    std::size_t line() const { return m_line; }
    std::size_t column() const { return m_column; }

  private:
    std::size_t m_line;
    std::size_t m_column;
};

/* Reads UTF-8, with or without a mark, and UTF-16LE with one. Throws RegSyntaxError. */
RegDocument parseRegText(std::string_view bytes);

/* UTF-8 without a mark, lines ended by LF; equal documents give equal bytes. Throws std::invalid_argument for a name
   that holds a control character, since the format has no way to write one. */
std::string writeRegText(const RegDocument& document);

/* REG_SZ data as UTF-16LE with its terminator, and the text of such data without it. */
std::vector<BYTE> textData(std::u16string_view text);
std::u16string textOf(const std::vector<BYTE>& data);
/* Whether `data` is the data of a text as textData makes it: whole units, one terminator, at the end. */
bool isTerminatedText(const std::vector<BYTE>& data);

} // namespace wdlt

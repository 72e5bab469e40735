/* .reg text: the document that a file describes, its reader and its writer. Pure functions on bytes, without the
   registry: a file is parsed to its end before anything is imported, and a subtree becomes a complete document before
   anything is printed. Text data is UTF-16LE throughout, as the format has it in hex(1), hex(2) and hex(7), so that it
   doesn't depend on a code page, but for REGEDIT4 files; bytes that are invalid in the code page become surrogate halves (see Utf.h). */
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
    bool isDeletion = false; /* then type and data are ignored */
};

struct RegKey {
    std::u16string path; /* below HKEY_LOCAL_MACHINE; empty for the root */
    std::vector<RegValue> values;
    bool isDeletion = false; /* of the key and all below it; `values` is empty then */
};

/* The keys are applied in order, first to last. */
struct RegDocument {
    std::vector<RegKey> keys;
};

/* The registry's own limits, checked by the reader so that the error can give the place in the file. */
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

/* The text of a file: UTF-8 or little-endian UTF-16, with or without a byte order mark. A RegSyntaxError where it is
   neither. */
std::u16string decodeText(std::string_view bytes);

/* Reads such text; and files that begin with REGEDIT4, which are in the system code page, as is the text in their
   hexadecimal data. Throws RegSyntaxError. */
RegDocument parseRegText(std::string_view bytes);

/* Writes UTF-8 without a byte order mark, with LF line endings; equal documents give equal bytes. Throws
   std::invalid_argument for a name with a control character, which the format can't express. */
std::string writeRegText(const RegDocument& document);

/* REG_SZ data as UTF-16LE with its terminator, and the text of such data without it. */
std::vector<BYTE> textData(std::u16string_view text);
std::u16string textOf(const std::vector<BYTE>& data);
/* Whether `data` is text as textData makes it: whole units, with a single terminator, at the end. */
bool isTerminatedText(const std::vector<BYTE>& data);

} // namespace wdlt

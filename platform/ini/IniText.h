// The text of an INI file: finding and changing one value in it. Pure functions over bytes; the files are Ini.cpp's.
// Lines end with LF or CR LF; a section goes on to the next header; of sections or names that occur twice the first
// counts. A line that is no header, no comment and has no `=` is passed over, and kept.
#pragma once

#include <platform/base.h>

#include <optional>
#include <string>
#include <string_view>

namespace wd {

// Without blanks and line ends around it.
std::string_view trimmed(std::string_view text);

// The value without blanks and quotes around it, up to its first zero byte; it points into `content`.
std::optional<std::string_view> findIniValue(std::string_view content, std::string_view section, std::string_view name);

// The content with one value set, or taken out (null `text`), or a section taken out (null `name`). All other bytes
// stay. A new line goes behind the last one of its section that isn't blank and ends as the file's first line does.
std::string changeIni(std::string_view content, std::string_view section, const char* name, const char* text);

// What can be written so that it is found again and nothing else changes its meaning.
bool isIniSection(const char* section);
bool isIniName(const char* name);
bool isIniValue(const char* text);

// Decimal with a sign, or 0x…, as far as it goes, modulo 2 to the 32nd; 0 when it doesn't begin with a number.
UINT iniNumber(std::string_view text);

} // namespace wd

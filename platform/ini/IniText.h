// The text of an INI file: finding and changing one value in it. Pure functions over bytes; Ini.cpp handles the files.
// Lines end with LF or CR LF; a section ends at the next header; of duplicate sections or names the first counts. A
// line that is no header, no comment and has no `=` is ignored, and kept.
#pragma once

#include <platform/base.h>

#include <optional>
#include <string>
#include <string_view>

namespace wd {

// The text without surrounding blanks and line ends.
std::string_view trimmed(std::string_view text);

// The value without surrounding blanks and quotes, up to its first null byte; it points into `content`.
std::optional<std::string_view> findIniValue(std::string_view content, std::string_view section, std::string_view name);

// The content with one value set, or removed (null `text`), or a section removed (null `name`). All other bytes stay. A
// new line goes after the last line of its section that isn't blank, and ends as the file's first line does.
std::string changeIni(std::string_view content, std::string_view section, const char* name, const char* text);

// Whether it can be written, is found again, and changes the meaning of nothing else.
bool isIniSection(const char* section);
bool isIniName(const char* name);
bool isIniValue(const char* text);

// The number that the text begins with, decimal or 0x… with an optional sign, modulo 2 to the 32nd; 0 if there is none.
UINT iniNumber(std::string_view text);

} // namespace wd

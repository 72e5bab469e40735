// The text of an INI file: finding and changing one value in it. Pure functions over bytes; Ini.cpp handles the files.
// Lines end with LF, CR LF or CR; a section ends at the next header; of duplicate sections or names the first counts. A
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

// The names of the sections, or of a section's values, in their order, with a null byte behind each; nothing without
// the section.
std::string iniSections(std::string_view content);
std::optional<std::string> iniNames(std::string_view content, std::string_view section);

// The content with one value set, or removed (null `text`), or a section removed (no `name`). All other bytes stay. A
// new line goes after the last line of its section that isn't blank, and ends as the file's first line does, or with CR
// LF.
std::string changeIni(std::string_view content, std::string_view section, std::optional<std::string_view> name,
                      const char* text);

// Whether it can be written, is found again, and changes the meaning of nothing else. Names without blanks around them.
bool isIniSection(std::string_view section);
bool isIniName(std::string_view name);
bool isIniValue(std::string_view text);

// The number that the text begins with, decimal or 0x… with an optional sign, modulo 2 to the 32nd; 0 if there is none.
// Blanks before it are skipped.
UINT iniNumber(std::string_view text);

} // namespace wd

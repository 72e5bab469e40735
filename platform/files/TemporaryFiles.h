// Temporary files of this process. Each is held from its creation until it is deleted or has replaced another file,
// open or not, so that those left by a killed process can be told from those in use.
#pragma once

#include <platform/base.h>

#include <filesystem>
#include <string_view>

namespace wd {

// The end of the names made here, after the prefix: eight digits, so that hardly any other file matches. "%08X.tmp" of
// a number.
inline constexpr std::size_t kTemporaryDigits = 8;
inline constexpr std::string_view kTemporarySuffix = ".tmp";

// Makes an empty file with the rights of the home's files. 0 or an error; ERROR_FILE_EXISTS when the name is taken.
DWORD makeTemporary(const std::filesystem::path& path);
// Gives up this process's temporary file of that path, in a caller's form; does nothing when there is none. Allocates
// no memory. Only the last part of the path is compared: no two have the same.
void letGoOfTemporary(std::string_view path);
// Removes the temporary files that dead processes left in the folder with names that begin with `prefix`.
void removeTemporariesLeftBehind(const std::filesystem::path& folder, std::string_view prefix);

} // namespace wd

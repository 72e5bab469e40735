// Temporary files of this process: each is held from its making until it is deleted or has taken another file's place,
// open or not, so that those which a killed process left can be told from those in use.
#pragma once

#include <platform/base.h>

#include <filesystem>
#include <string_view>

namespace wd {

// The ending of the names that are made here, behind the prefix: eight digits, so that hardly any file of others has
// one. "%08X.tmp" of a number.
inline constexpr std::size_t kTemporaryDigits = 8;
inline constexpr std::string_view kTemporarySuffix = ".tmp";

// An empty file with the rights of the home's files. 0 or an error, 80 for a name that is taken.
DWORD makeTemporary(const std::filesystem::path& path);
// The file isn't this process's any more, which takes no memory; nothing for a path, in a caller's form, whose last name
// is that of none of its temporary files. The name alone is looked at: no two have the same.
void letGoOfTemporary(std::string_view path);
// Removes what dead processes left in the folder under names that begin with `prefix`.
void removeTemporariesLeftBehind(const std::filesystem::path& folder, std::string_view prefix);

} // namespace wd

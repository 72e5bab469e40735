/* The directories of an installation, as a user types them and as they are stored. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace wdlt {

/* The system record has 260 bytes for each directory. */
inline constexpr std::size_t kMaxDirectoryBytes = 259;

/* Ends in exactly one backslash, which whoever appends a name relies on. A path that isn't given in full is a usage
   error. */
std::u16string parseDirectory(std::string_view argument);
/* In the system code page; a path that has no room is a usage error. */
std::string narrowPath(const std::u16string& path);

} // namespace wdlt

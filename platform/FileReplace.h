// Files replaced as a whole: a crash leaves the old file or the new one, never a part of either. What a crash leaves
// beside the file is one partial file, which nothing reads and the next replacement of that file removes.
#pragma once

#include <platform/base.h>

#include <filesystem>
#include <string_view>

namespace wd {

// Makes `content` the file's whole content: written beside it, synced, renamed over it, and the folder synced. Mode and
// owner of an existing file are kept; a new one gets 0644, narrowed by the process's mask. A symbolic link
// leads to the file that is replaced. 0, or the error with the old file as it was; when only the last sync fails, the
// new file stands, but may not outlast a loss of power.
DWORD replaceFile(const std::filesystem::path& target, std::string_view content);
// The same with the content of an open file, from its start.
DWORD replaceFileFrom(const std::filesystem::path& target, int source);
// The same for a file that exists, by renaming `replacement`, which is gone then and must be no link; across file
// systems it is copied first.
DWORD replaceFileBy(std::filesystem::path target, const std::filesystem::path& replacement);

// The code for errno of a call on this path: a missing file is 2, a missing folder on its way 3.
DWORD errorOfPath(const std::filesystem::path& path);

} // namespace wd

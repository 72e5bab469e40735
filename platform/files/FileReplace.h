// Files replaced as a whole: a crash leaves the old file or the new one, never a part of either. What a crash leaves
// beside the file is one partial file, which nothing reads and the next replacement of that file removes.
#pragma once

#include <platform/base.h>

#include <filesystem>
#include <string_view>

namespace wd {

// Makes `content` the file's whole content: written beside it, synced, renamed over it, and the folder synced. Mode and
// owner of an existing file are kept; a new one has those of the home's files. A symbolic link leads to the file that
// is replaced. 0 when the new file stands, also where the folder couldn't be synced, so that a loss of power may bring
// the old one back; else the error, with the old file as it was.
DWORD replaceFile(const std::filesystem::path& target, std::string_view content);
// The same with the content of an open file, from its start; a new file gets no more rights than that one has.
DWORD replaceFileFrom(const std::filesystem::path& target, int source);
// The same for a file that exists, by renaming `replacement`, which is gone then and must be no link; across file
// systems it is copied first.
DWORD replaceFileBy(std::filesystem::path target, const std::filesystem::path& replacement);

// Whether what a path's last part leads to may be written to. Where others may write to the folder, a symbolic link may
// be their trap: only one of the caller's own, or of the administrator's, is followed. False with errno.
bool mayFollow(const std::filesystem::path& path);

// The code for errno of a call on this path: a missing file is 2, a missing folder on its way 3.
DWORD errorOfPath(const std::filesystem::path& path);

} // namespace wd

// Replaces files as a whole: a crash leaves the old file or the new one, never a part of either. It may leave one
// partial file beside it, which nothing reads and the next replacement of that file removes.
#pragma once

#include <platform/base.h>

#include <filesystem>
#include <string_view>

namespace wd {

// Makes `content` the file's whole content: written beside it, synced, renamed over it, and the folder synced. An
// existing file keeps its mode and owner; a new one gets those of the home's files. A symbolic link is followed to the
// file that is replaced. 0 when the new file is in place, even if the folder couldn't be synced, so that a power cut
// may bring the old one back; else the error, with the old file unchanged.
DWORD replaceFile(const std::filesystem::path& target, std::string_view content);
// The same with the content of an open file, from its start, and the time of its last write; a new file gets no more
// rights than that one has.
DWORD replaceFileFrom(const std::filesystem::path& target, int source);
// The same for an existing file, by renaming `replacement`, which must not be a link nor open and is gone then; across
// file systems it is copied first.
DWORD replaceFileBy(std::filesystem::path target, const std::filesystem::path& replacement);

// Whether the file that a path's last part leads to may be written to. Where others may write to the folder, a symbolic
// link may be a trap of theirs: only the caller's own and root's are followed. False with errno.
bool mayFollow(const std::filesystem::path& path);

// The code for errno after a call on this path: ERROR_FILE_NOT_FOUND for a missing file, ERROR_PATH_NOT_FOUND for a
// missing folder on the way.
DWORD errorOfPath(const std::filesystem::path& path);

} // namespace wd

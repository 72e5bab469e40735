// Files replaced as a whole: a crash leaves the old file or the new one, never a part of either. What a crash leaves
// beside the file is a temporary with a name of its own, which nothing reads.
#pragma once

#include <platform/base.h>

#include <filesystem>
#include <string_view>

namespace wd {

// Makes `content` the file's whole content: an exclusive temporary in the same folder, synced, renamed over it, and the
// folder synced. Mode and owner of an existing file are kept; a new one gets 0644, narrowed by the process's mask.
// 0, or the error, with the old file as it was.
DWORD replaceFile(const std::filesystem::path& target, std::string_view content);

} // namespace wd

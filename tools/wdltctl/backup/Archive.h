/* Named texts in one file: a tar, compressed with zstd where the library can, and behind it a digest of every byte
   before it, in a frame that zstd and tar skip. So `tar --zstd -x` reads it too, and no byte of it can be turned
   unnoticed. */
#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

struct ArchiveEntry {
    std::string name;
    std::string content;
};

/* More than all lists and a tree have. */
inline constexpr std::size_t kMostArchivedBytes = std::size_t{60} << 20;

/* What is in a library of its own, libWdTar.so, whose packers every start of the tool would load otherwise:
   its WdTarCalls returns them. */
struct TarCalls {
    std::string (*pack)(std::span<const ArchiveEntry> entries);
    std::vector<ArchiveEntry> (*unpack)(std::string_view archived);
};

/* Not the bytes that were packed. */
struct DamagedArchive : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* Failures of both are std::runtime_errors, and LayerErrors where the library is missing. */
std::string packArchive(std::span<const ArchiveEntry> entries);
/* In the archive's order. */
std::vector<ArchiveEntry> unpackArchive(std::string_view bytes);

} // namespace wdlt

#include "Archive.h"

#include "Digest.h"
#include "PartLibrary.h"

#include <algorithm>
#include <stdexcept>

namespace wdlt {
namespace {

constexpr std::string_view kDigestFrame("\x50\x2A\x4D\x18\x20\0\0\0", 8); // one that is skipped, and its size
constexpr std::string_view kZstdBegin = "\x28\xB5\x2F\xFD";
constexpr std::size_t kDigestBytes = 32;

std::string frameOf(std::string_view archived) {
    const auto digest = sha256(archived);
    return std::string(kDigestFrame).append(digest.begin(), digest.end());
}

const TarCalls& tar() {
    return partLibrary<TarCalls>("WdTar");
}

} // namespace

std::string packArchive(std::span<const ArchiveEntry> entries) {
    const std::string bytes = tar().pack(entries);
    return bytes + frameOf(bytes);
}

std::vector<ArchiveEntry> unpackArchive(std::string_view bytes) {
    constexpr std::size_t kFrameBytes = kDigestFrame.size() + kDigestBytes;
    const std::string_view archived = bytes.substr(0, bytes.size() - std::min(bytes.size(), kFrameBytes));
    const std::string_view frame = bytes.substr(archived.size());
    const bool hasDigest = !archived.empty() && frame.starts_with(kDigestFrame);
    if (!hasDigest && !bytes.starts_with(kZstdBegin))
        throw std::runtime_error("it has no digest at its end");
    if (!hasDigest || frame != frameOf(archived))
        throw DamagedArchive(hasDigest ? "its digest doesn't fit" : "it doesn't end with its digest");
    return tar().unpack(archived);
}

} // namespace wdlt

#include "Files.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>
#include <unistd.h>

namespace wdlt {
namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20; // more than any list or tree

} // namespace

ToolError fileError(const std::string& file, int error) {
    return {ExitStatus::Failed, fmt::format("{}: {}", file, std::generic_category().message(error)), {.path = file}};
}

OwnedFile openFile(const std::string& file, const char* mode) {
    OwnedFile opened(std::fopen(file.c_str(), mode));
    if (!opened)
        throw fileError(file, errno);
    return opened;
}

std::string readFile(const std::string& file) {
    const bool isStandard = file == kStandardStream;
    const OwnedFile opened = isStandard ? nullptr : openFile(file, "rb");
    std::FILE* source = isStandard ? stdin : opened.get();

    std::string content;
    std::array<char, 65536> buffer{};
    while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), source))
        if (content.append(buffer.data(), got).size() > kMostBytes)
            throw ToolError(ExitStatus::Usage, fmt::format("{}: more than {} MiB", file, kMostBytes >> 20),
                            {.path = file});
    if (std::ferror(source) != 0)
        throw fileError(file, errno);
    return content;
}

bool isThere(const std::string& file) {
    return ::access(file.c_str(), F_OK) == 0;
}

bool isRegularFile(const std::string& file) {
    std::error_code failure;
    return std::filesystem::is_regular_file(std::filesystem::symlink_status(file, failure));
}

} // namespace wdlt

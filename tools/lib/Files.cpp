#include "Files.h"

#include "ToolError.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <system_error>

namespace wdlt {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

ToolError fileError(const std::string& file, int error) {
    return {ExitStatus::Failed, fmt::format("{}: {}", file, std::generic_category().message(error)), {.path = file}};
}

OwnedFile openFile(const std::string& file, const char* mode) {
    OwnedFile opened(std::fopen(file.c_str(), mode));
    if (!opened)
        throw fileError(file, errno);
    return opened;
}

} // namespace

std::string readFile(const std::string& file) {
    const bool isStandard = file == kStandardStream;
    const OwnedFile opened = isStandard ? nullptr : openFile(file, "rb");
    std::FILE* source = isStandard ? stdin : opened.get();

    std::string content;
    std::array<char, 65536> buffer{};
    while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), source))
        content.append(buffer.data(), got);
    if (std::ferror(source) != 0)
        throw fileError(file, errno);
    return content;
}

void writeFile(const std::string& file, std::string_view content) {
    if (file == kStandardStream) {
        if (std::fwrite(content.data(), 1, content.size(), stdout) != content.size())
            throw fileError("standard output", errno);
        return;
    }
    OwnedFile opened = openFile(file, "wb");
    const bool whole = std::fwrite(content.data(), 1, content.size(), opened.get()) == content.size();
    const bool closed = std::fclose(opened.release()) == 0;
    if (!whole || !closed)
        throw fileError(file, errno);
}

} // namespace wdlt

#include "Directory.h"

#include "Display.h"
#include "ToolError.h"
#include "Utf.h"

#include <fmt/format.h>

namespace wdlt {
namespace {

bool isSeparator(char16_t unit) {
    return unit == u'\\' || unit == u'/';
}

bool isAbsolute(std::u16string_view path) {
    const auto isLetter = [](char16_t unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; };
    const bool hasDrive = path.size() >= 3 && isLetter(path[0]) && path[1] == u':' && isSeparator(path[2]);
    return hasDrive || path.starts_with(u'/');
}

} // namespace

std::u16string parseDirectory(std::string_view argument) {
    std::u16string path = utf16FromArgument(argument);
    if (!isAbsolute(path))
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}: a directory is given in full, as X:\\... or /...", argument));
    while (isSeparator(path.back()) && path.size() > 1)
        path.pop_back();
    path.push_back(u'\\');
    return path;
}

std::string narrowPath(const std::u16string& path) {
    std::string narrow;
    if (!narrowFromUtf8(utf8FromUtf16(path), narrow))
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}: the system code page lacks a character of it", utf8FromUtf16(path)));
    if (narrow.size() > kMaxDirectoryBytes)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: a directory has at most {} bytes in the system code page",
                                                       utf8FromUtf16(path), kMaxDirectoryBytes));
    return narrow;
}

} // namespace wdlt

/* Reads and writes whole files; "-" is the standard input or output. A failure is a ToolError that names the file. A
   written file is its owner's alone, whatever rights an older one had, since settings hold secrets; it is replaced as a
   whole, so that a failure leaves the older one. What is no regular file is written to as it is. */
#pragma once

#include "ToolError.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace wdlt {

inline constexpr std::string_view kStandardStream = "-";

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;
OwnedFile openFile(const std::string& file, const char* mode);
/* `error` is a number of errno. */
ToolError fileError(const std::string& file, int error);

std::string readFile(const std::string& file);
void writeFile(const std::string& file, std::string_view content);
/* What tells one version of a file from another, as each change replaces it; "-" where it isn't there. */
std::string fileMark(const std::string& file);
bool isThere(const std::string& file);
/* Not a link, or something that a read waits for. */
bool isRegularFile(const std::string& file);
/* Gone from the disk when it returns, an empty folder too. One that isn't there is no failure. */
void removeFile(const std::string& file);

} // namespace wdlt

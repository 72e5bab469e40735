#include "LayerError.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace wdlt {
namespace {

struct ErrorWords {
    DWORD code;
    const char* words;
};

constexpr ErrorWords kErrorWords[] = {
    {ERROR_FILE_NOT_FOUND, "no such key or value"},
    {ERROR_PATH_NOT_FOUND, "no such folder"},
    {ERROR_TOO_MANY_OPEN_FILES, "too many open files"},
    {ERROR_ACCESS_DENIED, "access denied"},
    {ERROR_INVALID_HANDLE, "invalid handle"},
    {ERROR_SHARING_VIOLATION, "in use by another process"},
    {ERROR_NOT_ENOUGH_MEMORY, "out of memory"},
    {ERROR_WRITE_PROTECT, "a read-only file system"},
    {ERROR_INVALID_DATA, "invalid data"},
    {ERROR_INVALID_PARAMETER, "a name or the data is too long"},
    {ERROR_DISK_FULL, "no space left"},
    {ERROR_MOD_NOT_FOUND, "no such library, or it can't be loaded, or one that it needs isn't there"},
    {ERROR_PROC_NOT_FOUND, "another library of that name"},
    {ERROR_BAD_PATHNAME, "malformed key name"},
    {ERROR_BAD_EXE_FORMAT, "not a library"},
    {ERROR_MORE_DATA, "the buffer is too small"},
    {ERROR_BADDB, "the registry's file is damaged"},
    {ERROR_REGISTRY_CORRUPT, "the registry holds a damaged record"},
    {ERROR_REGISTRY_IO_FAILED, "the registry can't be read or written"},
    {ERROR_NO_SYSTEM_RESOURCES, "too many keys are open, or too many processes read"},
    {ERROR_KEY_DELETED, "the key has been deleted meanwhile"},
};

ExitStatus statusOf(LONG code) {
    switch (static_cast<DWORD>(code)) {
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_BADDB:
    case ERROR_REGISTRY_CORRUPT:
        return ExitStatus::Unknown;
    default:
        return ExitStatus::Failed;
    }
}

} // namespace

std::string layerErrorText(LONG code) {
    const auto* row = std::find_if(std::begin(kErrorWords), std::end(kErrorWords),
                                   [&](const ErrorWords& words) { return words.code == static_cast<DWORD>(code); });
    if (row == std::end(kErrorWords))
        return fmt::format("error {}", code);
    return fmt::format("{} (error {})", row->words, code);
}

LayerError::LayerError(const std::string& subject, LONG code)
    : ToolError(statusOf(code), fmt::format("{}: {}", subject, layerErrorText(code)), {.where = subject}),
      m_code(code) {}

} // namespace wdlt

// INI files: each call reads the file again, and a write replaces all of it. Writers in one folder serialize on a lock
// on the folder itself, which dies with its holder; readers take none and see the old file or the new one.
#include "CodePage.h"
#include "FileReplace.h"
#include "Home.h"
#include "IniText.h"
#include "LastError.h"
#include "LockedFile.h"

#include <platform/ini.h>
#include <platform/text.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>

namespace wd {
namespace {

constexpr const char* kSettingsFile = "Wardlet.ini";
constexpr std::size_t kMaxFileSize = std::size_t{16} << 20;

bool isThere(const std::filesystem::path& file) {
    struct stat status {};
    return sys::stat(file.c_str(), &status) == 0;
}

// A name without a folder is a file of the home. So is the settings file when the given folder has none: each home may
// have its own settings for a shared installation.
std::filesystem::path fileOf(LPCSTR name) {
    const char* const plain = PathFindFileNameA(name);
    if (plain == name && !endsInSeparator(name)) // one at the end begins no file's name
        return home().path() / plain;
    std::filesystem::path file = mapPath(name);
    if (std::strcmp(plain, kSettingsFile) == 0 && !isThere(file))
        return home().path() / plain;
    return file;
}

// Content of a regular file; nothing, with errno set, on failure.
std::optional<std::string> contentOf(const std::filesystem::path& path) {
    // O_NONBLOCK: a pipe in the file's place must not block the caller.
    const FileDescriptor file(sys::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
    struct stat status {};
    if (!file.valid() || sys::fstat(file.get(), &status) != 0)
        return std::nullopt;
    if (!S_ISREG(status.st_mode)) {
        errno = EISDIR;
        return std::nullopt;
    }
    if (static_cast<std::size_t>(status.st_size) > kMaxFileSize) {
        errno = EFBIG;
        return std::nullopt;
    }
    return readWhole(file.get(), static_cast<std::size_t>(status.st_size));
}

// The value in the file; nothing when file, section or name is missing.
std::optional<std::string> valueOf(LPCSTR section, LPCSTR name, LPCSTR file) {
    if (section == nullptr || name == nullptr || file == nullptr || *file == '\0')
        return std::nullopt;
    const std::optional<std::string> content = contentOf(fileOf(file));
    if (!content)
        return std::nullopt;
    const std::optional<std::string_view> value = findIniValue(*content, trimmed(section), trimmed(name));
    return value ? std::optional<std::string>(*value) : std::nullopt;
}

DWORD copyText(std::string_view text, LPSTR buffer, DWORD size) {
    if (buffer == nullptr || size == 0)
        return 0;
    const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
    std::copy_n(text.begin(), length, buffer);
    buffer[length] = '\0';
    return static_cast<DWORD>(length);
}

// The names of all sections, or of one section's values; nothing when file or section is missing.
std::optional<std::string> namesIn(LPCSTR section, LPCSTR file) {
    const std::optional<std::string> content =
        file == nullptr || *file == '\0' ? std::nullopt : contentOf(fileOf(file));
    if (!content)
        return std::nullopt;
    return section == nullptr ? iniSections(*content) : iniNames(*content, trimmed(section));
}

// Names, each with its null byte, and one more at the end, which isn't counted; two behind a name that was cut.
DWORD copyNames(std::string_view names, LPSTR buffer, DWORD size) {
    if (buffer == nullptr || names.size() < size)
        return copyText(names, buffer, size);
    const DWORD length = copyText(names, buffer, std::max(size, DWORD{1}) - 1);
    if (size != 0)
        buffer[size - 1] = '\0';
    return length;
}

// `section`, and `name` where it isn't null, without the blanks around them.
DWORD write(std::string_view section, LPCSTR givenName, LPCSTR text, LPCSTR file) {
    const auto name = givenName == nullptr ? std::nullopt : std::optional(trimmed(givenName));
    if (!isIniSection(section) || (name && !isIniName(*name)) || (name && text != nullptr && !isIniValue(text)))
        return ERROR_INVALID_PARAMETER;
    const std::filesystem::path path = fileOf(file);
    if (path.parent_path() == home().path()) {
        if (const DWORD error = home().ensure())
            return error;
    }
    const std::filesystem::path folder = path.parent_path();
    LockedFile directory = LockedFile::from([&] {
        const char* const name = folder.empty() ? "." : folder.c_str();
        return FileDescriptor(sys::open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    });
    if (!directory.valid())
        return errno == ENOENT ? ERROR_PATH_NOT_FOUND : systemError();
    if (!directory.lock(LOCK_EX))
        return systemError();
    std::optional<std::string> content = contentOf(path);
    if (!content && errno != ENOENT)
        return systemError();
    const std::string changed = changeIni(content.value_or(std::string()), section, name, text);
    return changed == content.value_or(std::string()) ? ERROR_SUCCESS : replaceFile(path, changed);
}

} // namespace
} // namespace wd

UINT GetPrivateProfileIntA(LPCSTR section, LPCSTR name, int defaultValue, LPCSTR file) {
    try {
        const auto value = wd::valueOf(section, name, file);
        return value && !value->empty() ? wd::iniNumber(*value) : static_cast<UINT>(defaultValue);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return static_cast<UINT>(defaultValue);
    }
}

DWORD GetPrivateProfileStringA(LPCSTR section, LPCSTR name, LPCSTR defaultText, LPSTR buffer, DWORD size, LPCSTR file) {
    std::string_view fallback = defaultText == nullptr ? "" : defaultText;
    fallback = fallback.substr(0, fallback.find_last_not_of(' ') + 1);
    try {
        if (section == nullptr || name == nullptr) {
            const auto names = wd::namesIn(section, file);
            return names ? wd::copyNames(*names, buffer, size) : wd::copyText(fallback, buffer, size);
        }
        const auto value = wd::valueOf(section, name, file);
        return wd::copyText(value ? std::string_view(*value) : fallback, buffer, size);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return wd::copyText(fallback, buffer, size);
    }
}

BOOL WritePrivateProfileStringA(LPCSTR section, LPCSTR name, LPCSTR text, LPCSTR file) {
    if (section == nullptr && name == nullptr && text == nullptr)
        return FALSE;
    if (section == nullptr || file == nullptr || *file == '\0') {
        SetLastError(section == nullptr ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED);
        return FALSE;
    }
    try {
        return wd::failed(wd::write(wd::trimmed(section), name, text, file)) == 0 ? TRUE : FALSE;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
}

// Libraries loaded at run time. A module handle is the C library's own; each one that a caller passes is looked up
// among the loaded modules before it is used. Loading and freeing are serialised by loaderLock, under which a library's
// entry runs: it may load others.
#include "Loader.h"
#include "CodePage.h"
#include "CriticalSection.h"
#include "FileDescriptor.h"
#include "ForkMutex.h"
#include "Home.h"
#include "LastError.h"
#include "SystemCalls.h"

#include <platform/loader.h>
#include <platform/module.h>
#include <platform/text.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <mutex>
#include <string>
#include <strings.h>
#include <vector>

namespace wd {
namespace {

using LibraryEntry = int (*)(void* module, std::uint32_t reason);
constexpr const char* kEntryName = "WdLibraryEntry";

// Modules loaded here and how often. Changed under loaderLock; the mutex keeps a fork from copying the list half
// changed.
struct LoadedTag;
constinit ForkMutex<LoadedTag, ForkOrder::Modules> loadedMutex;
struct Loaded {
    HMODULE module;
    unsigned count;
};
std::vector<Loaded>& loadedModules() WD_REQUIRES(loadedMutex) {
    static auto* const modules = std::make_unique<std::vector<Loaded>>().release(); // outlives every unload
    return *modules;
}

// Made while the layer is loaded, and never destroyed: a first use that made it could be interrupted by a fork.
Section& loaderLock = []() -> Section& {
    CRITICAL_SECTION made{};
    InitializeCriticalSection(&made);
    return *static_cast<Section*>(made.impl);
}();

class LoaderLock {
  public:
    LoaderLock() { loaderLock.enter(); }
    ~LoaderLock() { loaderLock.leave(); }
    LoaderLock(const LoaderLock&) = delete;
    LoaderLock& operator=(const LoaderLock&) = delete;
};

void makeRoom() {
    const ForkLock lock(loadedMutex);
    auto& modules = loadedModules();
    modules.reserve(modules.size() + 1);
}

// Returns the new number of references.
unsigned addReference(HMODULE module) {
    const ForkLock lock(loadedMutex);
    auto& modules = loadedModules();
    const auto at = std::find_if(modules.begin(), modules.end(), [&](const Loaded& l) { return l.module == module; });
    if (at != modules.end())
        return ++at->count;
    modules.push_back({module, 1});
    return 1;
}

unsigned references(HMODULE module) {
    const ForkLock lock(loadedMutex);
    const auto& modules = loadedModules();
    const auto at = std::find_if(modules.begin(), modules.end(), [&](const Loaded& l) { return l.module == module; });
    return at == modules.end() ? 0 : at->count;
}

void dropReference(HMODULE module) {
    const ForkLock lock(loadedMutex);
    auto& modules = loadedModules();
    const auto at = std::find_if(modules.begin(), modules.end(), [&](const Loaded& l) { return l.module == module; });
    if (at != modules.end() && --at->count == 0)
        modules.erase(at);
}

bool endsWithDll(std::string_view name) {
    constexpr std::string_view kSuffix = ".dll";
    return name.size() > kSuffix.size() &&
           strncasecmp(name.data() + name.size() - kSuffix.size(), kSuffix.data(), kSuffix.size()) == 0;
}

// Here "X.dll", and "X" alone, is libX.so.
std::string fileNameOf(std::string_view name) {
    const bool isDll = endsWithDll(name);
    if (!isDll && name.find('.') != std::string_view::npos)
        return std::string(name);
    return "lib" + std::string(isDll ? name.substr(0, name.size() - 4) : name) + ".so";
}

// The path itself when the working directory is unknown.
std::filesystem::path absolutePath(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path whole = std::filesystem::absolute(path, error);
    return error ? path : whole;
}

bool isThere(const std::filesystem::path& file) {
    struct stat status {};
    return sys::stat(file.c_str(), &status) == 0;
}

// An installation keeps what is loaded by name in a folder of its own, out of the system's folder of libraries. A file
// beside it is the one that is meant, even when it can't be loaded: no other may silently take its place.
std::filesystem::path placeIn(const std::filesystem::path& folder, const std::string& file) {
    return isThere(folder / file) ? folder / file : folder / "wdltcfg" / file;
}

bool isForeign(const std::filesystem::path& file) {
    const FileDescriptor opened(sys::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0));
    std::array<char, SELFMAG> start{};
    return opened.valid() && sys::pread(opened.get(), start.data(), start.size(), 0) >= 0 &&
           std::memcmp(start.data(), ELFMAG, SELFMAG) != 0;
}

// Null with GetLastError.
void* openLibrary(std::string_view folder, const std::string& file) {
    const auto place = placeIn(folder.empty() ? ownFolder() : absolutePath(mapPath(folder)), file);
    void* const module =
        dlopen(folder.empty() && !isThere(place) ? file.c_str() : place.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr)
        SetLastError(isForeign(place) ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
    return module;
}

bool callEntry(HMODULE module, DWORD reason) {
    const auto entry = reinterpret_cast<LibraryEntry>(dlsym(module, kEntryName));
    return entry == nullptr || entry(module, reason) != 0;
}

HMODULE load(std::string_view path) {
    const std::string text(path);
    const std::string_view name = PathFindFileNameA(text.c_str());
    const LoaderLock lock;
    makeRoom(); // so that an opened module is never left without its count
    void* const module = openLibrary(path.substr(0, path.size() - name.size()), fileNameOf(name));
    if (module == nullptr)
        return nullptr;
    if (addReference(module) == 1 && !callEntry(module, DLL_PROCESS_ATTACH)) {
        dropReference(module);
        dlclose(module);
        SetLastError(ERROR_DLL_INIT_FAILED);
        return nullptr;
    }
    return module;
}

// A module handle comes from a caller: it is compared with those of all modules, and not dereferenced before.
bool isLoadedModule(HMODULE module) {
    std::vector<const void*> addresses;
    const auto collect = [](dl_phdr_info* info, std::size_t, void* context) {
        // The program headers lie in the module's own first pages.
        static_cast<std::vector<const void*>*>(context)->push_back(info->dlpi_phdr);
        return 0;
    };
    // Modules are looked up after the walk: inside it, that would take the loader's locks in the wrong order.
    dl_iterate_phdr(collect, &addresses);
    return std::any_of(addresses.begin(), addresses.end(),
                       [module](const void* address) { return moduleOf(address) == module; });
}

std::string programPath() {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = sys::readlink("/proc/self/exe", path.data(), path.size());
    return length < 0 ? std::string() : std::string(path.data(), static_cast<std::size_t>(length));
}

std::string pathOf(HMODULE module) {
    if (module == nullptr)
        return programPath();
    if (!isLoadedModule(module))
        return {};
    const char* const name = static_cast<const link_map*>(module)->l_name;
    return *name == '\0' ? programPath() : absolutePath(name).string();
}

// The file system's bytes are UTF-8 whatever the code page is.
std::u16string wideOf(const std::string& path) {
    std::u16string wide(path.size(), u'\0');
    wide.resize(convertToWide(CP_UTF8, path, wide, InvalidBytes::Escape).length);
    return wide;
}

} // namespace

link_map* moduleOf(const void* address) {
    // Unlike dladdr it doesn't search the module's symbols.
    dl_find_object object{};
    return _dl_find_object(const_cast<void*>(address), &object) == 0 ? object.dlfo_link_map : nullptr;
}

std::filesystem::path ownFolder() {
    const link_map* const own = moduleOf(reinterpret_cast<const void*>(&ownFolder));
    if (own == nullptr || *own->l_name == '\0')
        return std::filesystem::path(programPath()).parent_path();
    return absolutePath(own->l_name).parent_path();
}

} // namespace wd

HMODULE LoadLibraryA(LPCSTR name) {
    if (name == nullptr || *name == '\0') {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return wd::withinMemory(HMODULE{}, [&] { return wd::load(name); });
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    return wd::withinMemory(FARPROC{}, [&]() -> FARPROC {
        if (name == nullptr || !wd::isLoadedModule(module)) {
            SetLastError(name == nullptr ? ERROR_INVALID_PARAMETER : ERROR_MOD_NOT_FOUND);
            return nullptr;
        }
        const auto address = reinterpret_cast<FARPROC>(dlsym(module, name));
        if (address == nullptr)
            SetLastError(ERROR_PROC_NOT_FOUND);
        return address;
    });
}

BOOL FreeLibrary(HMODULE module) {
    const wd::LoaderLock lock;
    const unsigned count = wd::references(module);
    if (count == 0) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    if (count == 1)
        wd::callEntry(module, DLL_PROCESS_DETACH);
    wd::dropReference(module);
    dlclose(module);
    return TRUE;
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) {
    return wd::withinMemory(DWORD{0}, [&]() -> DWORD {
        const std::u16string path = wd::wideOf(wd::pathOf(module));
        if (path.empty())
            return wd::fail<DWORD>(ERROR_MOD_NOT_FOUND);
        if (buffer == nullptr || size == 0)
            return wd::fail<DWORD>(ERROR_INSUFFICIENT_BUFFER);
        const std::size_t length = std::min<std::size_t>(path.size(), size - 1);
        std::copy_n(path.begin(), length, buffer);
        buffer[length] = u'\0';
        if (length == path.size())
            return static_cast<DWORD>(length);
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    });
}

DWORD GetShortPathNameW(LPCWSTR path, LPWSTR buffer, DWORD size) {
    if (path == nullptr)
        return wd::fail<DWORD>(ERROR_INVALID_PARAMETER);
    const std::u16string_view text(path);
    if (text.size() >= UINT_MAX)
        return wd::fail<DWORD>(ERROR_FILENAME_EXCED_RANGE);
    if (buffer == nullptr || size <= text.size())
        return static_cast<DWORD>(text.size() + 1);
    // The buffers may be the same one.
    std::char_traits<char16_t>::move(buffer, text.data(), text.size());
    buffer[text.size()] = u'\0';
    return static_cast<DWORD>(text.size());
}

// Tells a module's unloading from the end of the process. The end is noticed by an exit handler, which runs before the
// destructors of the modules only when it was registered after the C library's own: from main on, that is. A module
// that the program was started with attaches before main; but such a module is never unloaded before the end.
#include "Loader.h"

#include <platform/module.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <new>
#include <string_view>
#include <vector>

namespace wd {
namespace {

constinit std::atomic<bool> processEnding{false};
constinit std::atomic<bool> watchedSinceMain{false};

void watchForEnd() {
    static_cast<void>(std::atexit([] { processEnding.store(true, std::memory_order_release); }));
}

// Right when the layer itself is loaded in the middle of a program, too early when the program was started with it.
__attribute__((constructor)) void watchFromLoad() {
    watchForEnd();
}

std::string_view fileName(std::string_view path) {
    return path.substr(path.find_last_of('/') + 1);
}

// The parts of a module's dynamic section that its dependencies are told by.
struct Needs {
    explicit Needs(const link_map& map) {
        for (const auto* entry = map.l_ld; entry != nullptr && entry->d_tag != DT_NULL; ++entry) {
            if (entry->d_tag == DT_STRTAB)
                strings = entry->d_un.d_ptr;
        }
        if (strings < map.l_addr) // not relocated in place, as in a read-only section
            strings += map.l_addr;
    }
    std::string_view string(const ElfW(Dyn) & entry) const {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader tells its addresses as numbers.
        return reinterpret_cast<const char*>(strings + entry.d_un.d_val);
    }

    ElfW(Addr) strings = 0;
};

bool isCalled(const link_map& map, std::string_view name) {
    if (fileName(map.l_name) == fileName(name))
        return true;
    const Needs needs(map);
    for (const auto* entry = map.l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_SONAME && needs.string(*entry) == name)
            return true;
    }
    return false;
}

// Whether the program needs `module`, itself or through what it needs: the list of modules must not change meanwhile.
bool isNeededByProgram(const link_map* module) {
    std::vector<const link_map*> needed{_r_debug.r_map}; // the program comes first
    for (std::size_t i = 0; i < needed.size(); ++i) {
        if (needed[i] == module)
            return true;
        const Needs needs(*needed[i]);
        for (const auto* entry = needed[i]->l_ld; entry->d_tag != DT_NULL; ++entry) {
            if (entry->d_tag != DT_NEEDED)
                continue;
            const link_map* map = _r_debug.r_map;
            while (map != nullptr && !isCalled(*map, needs.string(*entry)))
                map = map->l_next;
            if (map != nullptr && std::find(needed.begin(), needed.end(), map) == needed.end())
                needed.push_back(map);
        }
    }
    return false;
}

bool isStartedWith(const link_map* module) {
    struct Question {
        const link_map* module;
        bool answer;
    } question{module, false};
    const auto ask = [](dl_phdr_info*, std::size_t, void* context) {
        auto& asked = *static_cast<Question*>(context);
        asked.answer = isNeededByProgram(asked.module);
        return 1;
    };
    dl_iterate_phdr(ask, &question); // for the lock on the list of modules that it holds
    return question.answer;
}

} // namespace
} // namespace wd

HMODULE WdModuleFromAddress(const void* address) {
    link_map* const module = wd::moduleOf(address);
    if (module != nullptr && !wd::watchedSinceMain.load(std::memory_order_relaxed) && !wd::isStartedWith(module)) {
        if (!wd::watchedSinceMain.exchange(true))
            wd::watchForEnd();
    }
    return module;
}

void WdModuleDetaching(const void* address) {
    if (wd::isStartedWith(wd::moduleOf(address)))
        wd::processEnding.store(true, std::memory_order_release);
}

BOOL WdProcessIsEnding() {
    return wd::processEnding.load(std::memory_order_acquire) ? TRUE : FALSE;
}

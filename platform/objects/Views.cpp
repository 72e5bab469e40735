#include "Views.h"

#include <algorithm>
#include <vector>

namespace wd {

namespace {

struct View {
    const void* address;
    KernelObject* mapping;
    std::uint32_t count;
    std::uint64_t thread; // the thread whose own they all are; 0: the process's
};

constinit ForkMutex<View, ForkOrder::Views> viewsMutex;

std::vector<View>& views() WD_REQUIRES(viewsMutex) {
    static auto* const all = std::make_unique<std::vector<View>>().release();
    return *all;
}

std::vector<View>::iterator find(const void* address) WD_REQUIRES(viewsMutex) {
    return std::find_if(views().begin(), views().end(), [&](const View& view) { return view.address == address; });
}

} // namespace

void addView(KernelObject& mapping) {
    const void* const address = mapping.view();
    const ForkLock lock(viewsMutex);
    const auto known = find(address);
    if (known != views().end()) {
        ++known->count;
        if (known->thread != ownerOfHandles())
            known->thread = 0;
        return;
    }
    views().push_back({address, &mapping, 1, ownerOfHandles()}); // first: it may run out of memory
    mapping.addReference();
}

std::unordered_set<const KernelObject*> viewedInChild() {
    std::unordered_set<const KernelObject*> viewed;
    const ForkLock lock(viewsMutex);
    for (const View& view : views())
        if (view.thread == 0 || view.thread == threadNumber())
            viewed.insert(view.mapping);
    return viewed;
}

bool removeView(const void* address) {
    KernelObject* unused = nullptr;
    {
        const ForkLock lock(viewsMutex);
        const auto known = find(address);
        if (known == views().end())
            return false;
        if (--known->count == 0) {
            unused = known->mapping;
            *known = views().back();
            views().pop_back();
        }
    }
    if (unused != nullptr)
        unused->dropReference();
    return true;
}

} // namespace wd

// Memory that the security calls hand out to their callers, who free it with LocalFree.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace wd {

struct LocalDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
using LocalMemory = std::unique_ptr<void, LocalDeleter>;

// A copy; throws std::bad_alloc.
inline LocalMemory localCopy(const void* from, std::size_t size) {
    LocalMemory memory(std::malloc(size));
    if (!memory)
        throw std::bad_alloc();
    std::memcpy(memory.get(), from, size);
    return memory;
}

} // namespace wd

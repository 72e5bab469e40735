// Pages for a test that puts a record in front of memory that can't be read.
#pragma once

#include <platform/base.h>

inline constexpr int PROT_NONE = 0, PROT_READ = 1, PROT_WRITE = 2, MAP_PRIVATE = 0, MAP_ANONYMOUS = 0;

inline void* mmap(void*, std::size_t bytes, int, int, int, int) {
    return VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
}
inline int mprotect(void* pages, std::size_t bytes, int) {
    DWORD before = 0;
    return VirtualProtect(pages, bytes, PAGE_NOACCESS, &before) != FALSE ? 0 : -1;
}
inline void munmap(void* pages, std::size_t) {
    VirtualFree(pages, 0, MEM_RELEASE);
}

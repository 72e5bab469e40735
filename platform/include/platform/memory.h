#ifndef PLATFORM_MEMORY_H
#define PLATFORM_MEMORY_H

#include <cstddef>
#include <cstring>

/* Zeroes memory that nobody reads again, where a compiler would leave out the write. */
inline void* SecureZeroMemory(void* memory, std::size_t bytes) {
    static void* (*const volatile zero)(void*, int, std::size_t) = std::memset;
    return zero(memory, 0, bytes);
}

#endif

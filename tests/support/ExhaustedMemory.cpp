#include "ExhaustedMemory.h"

#include <cstdlib>
#include <new>

#ifndef WDLT_THREAD_SANITIZER

// All forms are replaced, so that each operator delete matches its operator new.
void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return ExhaustedMemory::isMet() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

#endif

#include "ExhaustedMemory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int t_allocationsLeft = -1; // -1: as many as there is memory for

[[maybe_unused]] void* allocate(std::size_t size) noexcept {
    if (t_allocationsLeft >= 0 && t_allocationsLeft-- == 0)
        return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

} // namespace

ExhaustedMemory::ExhaustedMemory(int count) {
    t_allocationsLeft = count;
}

ExhaustedMemory::~ExhaustedMemory() {
    t_allocationsLeft = -1;
}

bool ExhaustedMemory::wasMet() {
    return t_allocationsLeft < 0;
}

#ifndef WDLT_FIXED_OPERATOR_NEW

// All forms, so that what comes from one of them goes back to the other.
void* operator new(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
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

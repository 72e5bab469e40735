// Memory for secrets that are enciphered everywhere else: wiped before it is freed.
#pragma once

#include <platform/memory.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace wdlt {

// A plain record or array. Its padding is zeroed too, since callers get it with the rest.
template <class T>
class Wiped {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    Wiped() { std::memset(static_cast<void*>(&m_value), 0, sizeof m_value); }
    explicit Wiped(const T& value) : m_value(value) {}
    ~Wiped() { SecureZeroMemory(&m_value, sizeof m_value); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

    T& operator*() { return m_value; }
    T* operator->() { return &m_value; }

  private:
    T m_value;
};

template <class T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() = default;
    template <class U>
    explicit WipingAllocator(const WipingAllocator<U>&) {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* memory, std::size_t count) {
        SecureZeroMemory(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    friend bool operator==(const WipingAllocator&, const WipingAllocator&) { return true; }
};

template <class T>
using WipedVector = std::vector<T, WipingAllocator<T>>;

} // namespace wdlt

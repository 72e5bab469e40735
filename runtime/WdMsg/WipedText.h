// A text that is wiped before its memory is freed: callers convert secrets that are enciphered everywhere else.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

namespace wdmsg {

// A write that the compiler doesn't leave out.
inline void wipe(void* memory, std::size_t bytes) {
    static void* (*const volatile zero)(void*, int, std::size_t) = std::memset;
    zero(memory, 0, bytes);
}

template <class T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() = default;
    template <class U>
    explicit WipingAllocator(const WipingAllocator<U>&) {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* memory, std::size_t count) {
        wipe(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    friend bool operator==(const WipingAllocator&, const WipingAllocator&) { return true; }
};

template <class Character>
class WipedText : public std::basic_string<Character, std::char_traits<Character>, WipingAllocator<Character>> {
  public:
    using std::basic_string<Character, std::char_traits<Character>, WipingAllocator<Character>>::basic_string;
    WipedText() = default;
    WipedText(const WipedText&) = default;
    WipedText(WipedText&&) noexcept = default;
    WipedText& operator=(const WipedText&) = default;
    WipedText& operator=(WipedText&&) noexcept = default;
    // A short text is stored in the object itself, and so are the remains of one that grew out of it.
    ~WipedText() {
        wipe(this->data(), this->capacity() * sizeof(Character));
        this->clear();
        this->shrink_to_fit();
        wipe(this->data(), this->capacity() * sizeof(Character));
    }
};

using Text = WipedText<char>;
using WideText = WipedText<char16_t>;

} // namespace wdmsg

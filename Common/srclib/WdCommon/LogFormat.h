// Formats of log texts: checked against their arguments while the caller is compiled, filled in by one function that is
// no template. Knows %d %i %u %x %X %c %s %ws %p %% with flags, width and precision, and the sizes l, ll and z.
// `l` counts 32 bits, as the system's own `long` does, whatever the compiler's says.
#pragma once

#include <platform/base.h>

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace wdlt {

// The longest message, without its terminator.
inline constexpr std::size_t kMaxMessage = 4095;

// One argument, ready to be formatted. Texts are the caller's and must outlive the call.
struct LogArgument {
    enum class Kind : BYTE { Number, Narrow, Wide, Pointer };

    template <class T>
    static LogArgument of(const T& value);

    Kind kind = Kind::Number;
    std::uint64_t number = 0; // sign-extended from its type, or the pointer's value
    const char* narrow = nullptr;
    const WCHAR* wide = nullptr;
};

enum class LogFormatResult : BYTE { Done, TooLong, Failed };

// Appends what is formatted, at most kMaxMessage characters. What was appended means nothing unless it's Done.
LogFormatResult formatLog(std::string& out, const char* format, std::span<const LogArgument> arguments);
LogFormatResult formatLog(std::u16string& out, const WCHAR* format, std::span<const LogArgument> arguments);

namespace format {

// What a conversion wants. WideText of a UTF-16 format is its plain %s.
enum class Wants : BYTE { Number32, NumberLong, Number64, NumberSize, Narrow, Wide, Pointer, Percent, Bad };

// A conversion at the begin of `text`, its % included.
struct Conversion {
    std::size_t length = 0;
    std::size_t headLength = 0; // of the %, flags, width and precision
    char letter = '\0';
    Wants wants = Wants::Bad;
};

template <class Unit>
constexpr bool isOneOf(Unit unit, std::string_view set) {
    for (const char c : set) {
        if (unit == static_cast<Unit>(c))
            return true;
    }
    return false;
}

constexpr Wants numberOfSize(std::string_view size) {
    if (size.empty())
        return Wants::Number32;
    if (size == "l")
        return Wants::NumberLong;
    if (size == "ll")
        return Wants::Number64;
    return size == "z" ? Wants::NumberSize : Wants::Bad;
}

constexpr Wants wantsOf(char letter, std::string_view size, bool isWideFormat) {
    switch (letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
        return numberOfSize(size);
    case 'c':
        return size.empty() ? Wants::Number32 : Wants::Bad;
    case 's':
        if (size == "w" || (size.empty() && isWideFormat))
            return Wants::Wide;
        return size.empty() || size == "h" ? Wants::Narrow : Wants::Bad;
    case 'p':
        return size.empty() ? Wants::Pointer : Wants::Bad;
    case '%':
        return size.empty() ? Wants::Percent : Wants::Bad;
    default:
        return Wants::Bad;
    }
}

template <class Unit>
constexpr Conversion parse(std::basic_string_view<Unit> text) {
    std::size_t at = 1;
    const auto skipWhile = [&](std::string_view set) {
        while (at < text.size() && isOneOf(text[at], set))
            ++at;
    };
    skipWhile("-+ #0");
    skipWhile("0123456789");
    if (at < text.size() && text[at] == static_cast<Unit>('.')) {
        ++at;
        skipWhile("0123456789");
    }
    Conversion result;
    result.headLength = at;
    std::array<char, 2> size{};
    std::size_t sizeLength = 0;
    while (at < text.size() && sizeLength < size.size() && isOneOf(text[at], "lzwh"))
        size[sizeLength++] = static_cast<char>(text[at++]);
    if (at == text.size() || result.headLength > 8)
        return result;
    result.letter = static_cast<char>(text[at]);
    result.length = at + 1;
    if (text[at] < 0x80)
        result.wants = wantsOf(result.letter, {size.data(), sizeLength}, sizeof(Unit) > 1);
    return result;
}

template <class T>
concept NarrowText = std::same_as<T, std::string> || std::same_as<T, const char*> || std::same_as<T, char*>;
template <class T>
concept WideText = std::same_as<T, std::u16string> || std::same_as<T, const WCHAR*> || std::same_as<T, WCHAR*>;
template <class T>
concept Number = std::integral<T> && !std::same_as<T, WCHAR>;

template <class T>
constexpr bool accepts(Wants wants) {
    using Plain = std::decay_t<T>;
    constexpr bool isLong = std::same_as<Plain, long> || std::same_as<Plain, unsigned long>;
    switch (wants) {
    case Wants::Number32:
        return Number<Plain> && sizeof(Plain) <= sizeof(DWORD);
    case Wants::NumberLong:
        return isLong;
    case Wants::Number64:
        return Number<Plain> && sizeof(Plain) == sizeof(ULONGLONG);
    case Wants::NumberSize:
        return Number<Plain> && sizeof(Plain) == sizeof(std::size_t);
    case Wants::Narrow:
        return NarrowText<Plain>;
    case Wants::Wide:
        return WideText<Plain>;
    case Wants::Pointer:
        return std::is_pointer_v<Plain> || std::same_as<Plain, std::nullptr_t>;
    default:
        return false;
    }
}

// What is wrong with a format for these arguments; null when nothing is.
template <class Unit, class... Args>
constexpr const char* faultOf(std::basic_string_view<Unit> text) {
    constexpr std::size_t kCount = sizeof...(Args);
    using Accepts = bool (*)(Wants);
    const std::array<Accepts, kCount + 1> acceptors{&accepts<Args>..., nullptr};
    std::size_t used = 0;
    while (!text.empty()) {
        if (text.front() != static_cast<Unit>('%')) {
            text.remove_prefix(1);
            continue;
        }
        const Conversion conversion = parse(text);
        if (conversion.wants == Wants::Bad)
            return "a conversion that log texts don't have";
        text.remove_prefix(conversion.length);
        if (conversion.wants == Wants::Percent)
            continue;
        if (used == kCount)
            return "fewer arguments than conversions";
        if (!acceptors[used](conversion.wants))
            return "an argument of another type than its conversion";
        ++used;
    }
    return used == kCount ? nullptr : "more arguments than conversions";
}

// Neither constexpr nor defined: reaching it is the compile error, which shows what is wrong.
void badLogFormat(const char* fault);

} // namespace format

// A literal format that fits its arguments: anything else doesn't compile.
template <class Unit, class... Args>
class BasicLogFormat {
  public:
    // NOLINTNEXTLINE(google-explicit-constructor): a literal stands where a format is wanted.
    consteval BasicLogFormat(const Unit* text) : m_text(text) {
        if (const char* fault = format::faultOf<Unit, Args...>(std::basic_string_view<Unit>(text)))
            format::badLogFormat(fault);
    }
    const Unit* text() const { return m_text; }

  private:
    const Unit* m_text;
};
template <class... Args>
using LogFormat = BasicLogFormat<char, std::type_identity_t<Args>...>;
template <class... Args>
using WideLogFormat = BasicLogFormat<WCHAR, std::type_identity_t<Args>...>;

template <class T>
LogArgument LogArgument::of(const T& value) {
    using Plain = std::decay_t<T>;
    LogArgument argument;
    if constexpr (format::Number<Plain>) {
        argument.number = static_cast<std::uint64_t>(value);
    } else if constexpr (std::same_as<Plain, std::string>) {
        argument.kind = Kind::Narrow;
        argument.narrow = value.c_str();
    } else if constexpr (std::same_as<Plain, std::u16string>) {
        argument.kind = Kind::Wide;
        argument.wide = value.c_str();
    } else if constexpr (format::NarrowText<Plain>) {
        argument.kind = Kind::Narrow;
        argument.narrow = value;
        argument.number = reinterpret_cast<std::uintptr_t>(argument.narrow);
    } else if constexpr (format::WideText<Plain>) {
        argument.kind = Kind::Wide;
        argument.wide = value;
        argument.number = reinterpret_cast<std::uintptr_t>(argument.wide);
    } else {
        argument.kind = Kind::Pointer;
        argument.number = reinterpret_cast<std::uintptr_t>(value);
    }
    return argument;
}

} // namespace wdlt

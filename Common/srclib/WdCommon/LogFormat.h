// Log formats: checked against their arguments at compile time, formatted by one function that is no template. Numbers are
// %d %u %x %X, with a width of at most two digits that 0 fills with zeros, and the size l, which means 32 bits like the
// platform interface's LONG, whatever the compiler's long is. Texts are %s %hs %ws, a pointer's 16 digits %p.
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

// Appends the formatted text, at most kMaxMessage characters. Unless it returns Done, what was appended is meaningless.
LogFormatResult formatLog(std::string& out, const char* format, std::span<const LogArgument> arguments);
LogFormatResult formatLog(WideString& out, const WCHAR* format, std::span<const LogArgument> arguments);

namespace format {

// The argument that a conversion takes. In a UTF-16 format a plain %s is Wide.
enum class Wants : BYTE { Number, Long, Narrow, Wide, Pointer, Percent, Bad };

// The conversion at the start of a text, its % included.
struct Conversion {
    std::size_t length = 0;
    char letter = '\0';
    bool isZeroFilled = false;
    int width = 0;
    Wants wants = Wants::Bad;
};

constexpr Wants wantsOf(char letter, char size, bool hasWidth, bool isWideFormat) {
    switch (letter) {
    case 'd':
    case 'u':
    case 'x':
    case 'X':
        if (size == 'l')
            return Wants::Long;
        return size == '\0' ? Wants::Number : Wants::Bad;
    case 's':
        if (hasWidth || size == 'l')
            return Wants::Bad;
        return size == 'w' || (size == '\0' && isWideFormat) ? Wants::Wide : Wants::Narrow;
    case 'p':
        return size == '\0' && !hasWidth ? Wants::Pointer : Wants::Bad;
    case '%':
        return size == '\0' && !hasWidth ? Wants::Percent : Wants::Bad;
    default:
        return Wants::Bad;
    }
}

template <class Unit>
constexpr Conversion parse(std::basic_string_view<Unit> text) {
    std::size_t at = 1;
    // '\0' at the end, and for a unit that no conversion has.
    const auto unit = [&] { return at < text.size() && text[at] < 0x80 ? static_cast<char>(text[at]) : '\0'; };
    const auto isDigit = [&] { return unit() >= '0' && unit() <= '9'; };
    Conversion result;
    if (unit() == '0') {
        result.isZeroFilled = true;
        ++at;
    }
    for (; isDigit() && result.width < 10; ++at)
        result.width = result.width * 10 + (unit() - '0');
    char size = '\0';
    if (unit() == 'l' || unit() == 'h' || unit() == 'w') {
        size = unit();
        ++at;
    }
    if (unit() == '\0')
        return result;
    result.letter = unit();
    result.length = at + 1;
    result.wants = wantsOf(result.letter, size, at + 1 > 2 + std::size_t{size != '\0'}, sizeof(Unit) > 1);
    return result;
}

template <class T>
concept NarrowText = std::same_as<T, std::string> || std::same_as<T, const char*> || std::same_as<T, char*>;
template <class T>
concept WideText = std::same_as<T, WideString> || std::same_as<T, const WCHAR*> || std::same_as<T, WCHAR*>;
template <class T>
concept Number = std::integral<T> && !std::same_as<T, WCHAR>;

template <class T>
constexpr bool accepts(Wants wants) {
    using Plain = std::decay_t<T>;
    constexpr bool isLong = std::same_as<Plain, long> || std::same_as<Plain, unsigned long>;
    switch (wants) {
    case Wants::Number:
        return Number<Plain> && sizeof(Plain) <= sizeof(DWORD);
    case Wants::Long:
        return isLong;
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

// Neither constexpr nor defined: the call is the compile error, and its argument says what is wrong.
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
    } else if constexpr (std::same_as<Plain, WideString>) {
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

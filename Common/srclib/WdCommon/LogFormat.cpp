#include "WdCommon/LogFormat.h"

#include <platform/text.h>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace wdlt {
namespace {

using format::Conversion;
using format::Wants;

// Flags, width and precision of a conversion, for the pieces that snprintf has no form for.
struct Layout {
    bool left = false;
    std::size_t width = 0;
    std::size_t precision = std::numeric_limits<std::size_t>::max();
};

template <class Unit>
Layout layoutOf(std::basic_string_view<Unit> head) {
    Layout layout;
    std::size_t* number = &layout.width;
    for (const Unit unit : head.substr(1)) {
        if (unit == static_cast<Unit>('-')) {
            layout.left = true;
        } else if (unit == static_cast<Unit>('.')) {
            number = &layout.precision;
            *number = 0;
        } else if (format::isOneOf(unit, "0123456789")) {
            *number = *number * 10 + static_cast<std::size_t>(unit - static_cast<Unit>('0'));
        }
    }
    return layout;
}

// `l` counts 32 bits: what a caller widened to this compiler's long is cut again, so that a sign-extended code prints
// its eight digits.
std::uint64_t sized(std::uint64_t number, Wants wants, bool isSigned) {
    if (wants == Wants::Number64 || wants == Wants::NumberSize)
        return number;
    const auto low = static_cast<DWORD>(number);
    return isSigned ? static_cast<std::uint64_t>(std::int64_t{static_cast<LONG>(low)}) : low;
}

template <class Unit>
class Formatter {
  public:
    using View = std::basic_string_view<Unit>;
    using Result = LogFormatResult;

    explicit Formatter(std::basic_string<Unit>& out) : m_out(out), m_limit(out.size() + kMaxMessage) {}

    Result append(View piece) {
        if (piece.size() > m_limit - m_out.size())
            return Result::TooLong;
        m_out.append(piece);
        return Result::Done;
    }
    Result one(View head, const Conversion& conversion, const LogArgument& argument);

  private:
    Result appendDigits(std::string_view piece) {
        if (piece.size() > m_limit - m_out.size())
            return Result::TooLong;
        for (const auto c : piece)
            m_out.push_back(static_cast<Unit>(c));
        return Result::Done;
    }
    Result blanks(std::size_t count);
    Result number(View head, const Conversion& conversion, const LogArgument& argument);
    Result padded(const Layout& layout, View text);
    Result text(const Layout& layout, const LogArgument& argument);

    std::basic_string<Unit>& m_out;
    std::size_t m_limit;
};

template <class Unit>
LogFormatResult Formatter<Unit>::blanks(std::size_t count) {
    if (count > m_limit - m_out.size())
        return Result::TooLong;
    m_out.append(count, static_cast<Unit>(' '));
    return Result::Done;
}

template <class Unit>
LogFormatResult Formatter<Unit>::padded(const Layout& layout, View text) {
    const View shown = text.substr(0, layout.precision);
    const std::size_t padding = layout.width > shown.size() ? layout.width - shown.size() : 0;
    Result result = layout.left ? append(shown) : blanks(padding);
    if (result == Result::Done)
        result = layout.left ? blanks(padding) : append(shown);
    return result;
}

// Width and precision were measured by format::parse, so the rebuilt conversion fits.
template <class Unit>
LogFormatResult Formatter<Unit>::number(View head, const Conversion& conversion, const LogArgument& argument) {
    std::array<char, 16> directive{};
    char* end =
        std::transform(head.begin(), head.end(), directive.begin(), [](Unit unit) { return static_cast<char>(unit); });
    *end++ = 'l';
    *end++ = 'l';
    *end = conversion.letter;

    const bool isSigned = conversion.letter == 'd' || conversion.letter == 'i';
    const unsigned long long value = sized(argument.number, conversion.wants, isSigned);
    std::array<char, 64> digits{};
    const int length = std::snprintf(digits.data(), digits.size(), directive.data(), value);
    if (length < 0)
        return Result::Failed;
    const auto size = static_cast<std::size_t>(length);
    if (size < digits.size())
        return appendDigits(std::string_view(digits.data(), size));
    if (size > kMaxMessage)
        return Result::TooLong;
    std::string wideField(size + 1, '\0');
    std::snprintf(wideField.data(), wideField.size(), directive.data(), value);
    return appendDigits(std::string_view(wideField).substr(0, size));
}

template <>
LogFormatResult Formatter<char>::text(const Layout& layout, const LogArgument& argument) {
    if (argument.kind == LogArgument::Kind::Narrow)
        return padded(layout, argument.narrow);
    const std::u16string_view wide(argument.wide);
    if (wide.empty())
        return padded(layout, {});
    // Each unit gives a byte at least, so what lies behind the limit can't be shown.
    const auto shown = static_cast<int>(std::min(wide.size(), kMaxMessage + 1));
    std::string narrow(static_cast<std::size_t>(shown) * 3, '\0');
    const int length = WideCharToMultiByte(CP_ACP, 0, wide.data(), shown, narrow.data(),
                                           static_cast<int>(narrow.size()), nullptr, nullptr);
    return length == 0 ? Result::Failed : padded(layout, View(narrow).substr(0, static_cast<std::size_t>(length)));
}

template <>
LogFormatResult Formatter<WCHAR>::text(const Layout& layout, const LogArgument& argument) {
    if (argument.kind == LogArgument::Kind::Wide)
        return padded(layout, argument.wide);
    const std::string_view narrow(argument.narrow);
    if (narrow.empty())
        return padded(layout, {});
    // Four bytes give a unit at least.
    const auto shown = static_cast<int>(std::min(narrow.size(), (kMaxMessage + 1) * 4));
    std::u16string wide(static_cast<std::size_t>(shown), u'\0');
    const int length = MultiByteToWideChar(CP_ACP, 0, narrow.data(), shown, wide.data(), shown);
    return length == 0 ? Result::Failed : padded(layout, View(wide).substr(0, static_cast<std::size_t>(length)));
}

template <class Unit>
LogFormatResult Formatter<Unit>::one(View head, const Conversion& conversion, const LogArgument& argument) {
    if (conversion.wants == Wants::Narrow || conversion.wants == Wants::Wide) {
        static constexpr LogArgument kNull{LogArgument::Kind::Narrow, 0, "(null)", nullptr};
        const bool isNull = argument.narrow == nullptr && argument.wide == nullptr;
        return text(layoutOf(head), isNull ? kNull : argument);
    }
    if (conversion.wants == Wants::Pointer) {
        std::array<char, 20> digits{};
        const int length =
            std::snprintf(digits.data(), digits.size(), "%016llX", static_cast<unsigned long long>(argument.number));
        return padded(layoutOf(head), std::basic_string<Unit>(digits.data(), digits.data() + length));
    }
    if (conversion.letter != 'c')
        return number(head, conversion, argument);
    const auto unit = static_cast<Unit>(argument.number);
    return padded(layoutOf(head), View(&unit, 1));
}

// The checks of compile time hold for every format that comes in here.
template <class Unit>
LogFormatResult formatAll(std::basic_string<Unit>& out, std::basic_string_view<Unit> format,
                          std::span<const LogArgument> arguments) {
    Formatter<Unit> formatter(out);
    LogFormatResult result = LogFormatResult::Done;
    for (std::size_t used = 0; !format.empty() && result == LogFormatResult::Done;) {
        const std::size_t plain = std::min(format.find(static_cast<Unit>('%')), format.size());
        result = formatter.append(format.substr(0, plain));
        format.remove_prefix(plain);
        if (format.empty() || result != LogFormatResult::Done)
            break;
        const Conversion conversion = format::parse(format);
        if (conversion.wants == Wants::Percent)
            result = formatter.append(format.substr(0, 1));
        else if (used < arguments.size() && conversion.wants != Wants::Bad)
            result = formatter.one(format.substr(0, conversion.headLength), conversion, arguments[used++]);
        else
            result = LogFormatResult::Failed;
        format.remove_prefix(std::min(conversion.length, format.size()));
    }
    return result;
}

} // namespace

LogFormatResult formatLog(std::string& out, const char* format, std::span<const LogArgument> arguments) {
    return formatAll<char>(out, format, arguments);
}

LogFormatResult formatLog(std::u16string& out, const WCHAR* format, std::span<const LogArgument> arguments) {
    return formatAll<WCHAR>(out, format, arguments);
}

} // namespace wdlt

#include "WdCommon/LogFormat.h"

#include <platform/text.h>

#include <algorithm>
#include <cstdio>

namespace wdlt {
namespace {

using format::Conversion;
using format::Wants;

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
    Result one(const Conversion& conversion, const LogArgument& argument);

  private:
    Result digits(std::string_view text) {
        if (text.size() > m_limit - m_out.size())
            return Result::TooLong;
        m_out.append(text.begin(), text.end());
        return Result::Done;
    }
    Result number(const Conversion& conversion, const LogArgument& argument);
    Result text(const LogArgument& argument);

    std::basic_string<Unit>& m_out;
    std::size_t m_limit;
};

// All numbers have 32 bits: a value that a caller widened to this compiler's long is truncated again, so that a
// sign-extended code prints its eight digits.
template <class Unit>
LogFormatResult Formatter<Unit>::number(const Conversion& conversion, const LogArgument& argument) {
    std::string format = conversion.isZeroFilled ? "%0*" : "%*";
    format += conversion.letter;
    std::array<char, 128> text{}; // a width has two digits at most
    const int length =
        std::snprintf(text.data(), text.size(), format.c_str(), conversion.width, static_cast<DWORD>(argument.number));
    return digits({text.data(), static_cast<std::size_t>(length)});
}

template <>
LogFormatResult Formatter<char>::text(const LogArgument& argument) {
    if (argument.kind == LogArgument::Kind::Narrow)
        return append(argument.narrow);
    const WideStringView wide(argument.wide);
    if (wide.empty())
        return Result::Done;
    // Each unit gives at least one byte, so anything beyond the limit can't be shown.
    const auto shown = static_cast<int>(std::min(wide.size(), kMaxMessage + 1));
    std::string narrow(static_cast<std::size_t>(shown) * 3, '\0');
    const int length = WideCharToMultiByte(CP_ACP, 0, wide.data(), shown, narrow.data(),
                                           static_cast<int>(narrow.size()), nullptr, nullptr);
    return length == 0 ? Result::Failed : append(View(narrow).substr(0, static_cast<std::size_t>(length)));
}

template <>
LogFormatResult Formatter<WCHAR>::text(const LogArgument& argument) {
    if (argument.kind == LogArgument::Kind::Wide)
        return append(argument.wide);
    const std::string_view narrow(argument.narrow);
    if (narrow.empty())
        return Result::Done;
    // Four bytes give at least one unit.
    const auto shown = static_cast<int>(std::min(narrow.size(), (kMaxMessage + 1) * 4));
    WideString wide(static_cast<std::size_t>(shown), WTEXT('\0'));
    const int length = MultiByteToWideChar(CP_ACP, 0, narrow.data(), shown, wide.data(), shown);
    return length == 0 ? Result::Failed : append(View(wide).substr(0, static_cast<std::size_t>(length)));
}

template <class Unit>
LogFormatResult Formatter<Unit>::one(const Conversion& conversion, const LogArgument& argument) {
    if (conversion.wants == Wants::Narrow || conversion.wants == Wants::Wide) {
        static constexpr LogArgument kNull{LogArgument::Kind::Narrow, 0, "(null)", nullptr};
        const bool isNull = argument.narrow == nullptr && argument.wide == nullptr;
        return text(isNull ? kNull : argument);
    }
    if (conversion.wants != Wants::Pointer)
        return number(conversion, argument);
    std::array<char, 20> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "%016llX", static_cast<unsigned long long>(argument.number));
    return digits({text.data(), static_cast<std::size_t>(length)});
}

// Every format that arrives here was checked at compile time.
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
            result = formatter.one(conversion, arguments[used++]);
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

LogFormatResult formatLog(WideString& out, const WCHAR* format, std::span<const LogArgument> arguments) {
    return formatAll<WCHAR>(out, format, arguments);
}

} // namespace wdlt

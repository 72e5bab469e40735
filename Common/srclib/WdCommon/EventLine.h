// The log text of one event as data, for tables of a class's log lines: the text, and its place in the sources.
#pragma once

#include "WdCommon/DebugLog.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace wdlt {

// Classes log the same event in texts of different shapes: with its name before its status, after it, or with neither.
// So a text takes only what it has conversions for: the last of the event's names and the last of its numbers.
class EventLine {
  public:
    static constexpr std::size_t kMostNames = 2;
    static constexpr std::size_t kMostNumbers = 2;

    constexpr EventLine() = default; // logs nothing
    // NOLINTNEXTLINE(google-explicit-constructor): a literal stands where a line is wanted.
    consteval EventLine(const char* text, const char* file = __builtin_FILE(), int line = __builtin_LINE())
        : m_text(text), m_file(file), m_line(static_cast<unsigned>(line)) {
        std::string_view rest(text);
        for (rest.remove_prefix(std::min(rest.find('%'), rest.size())); !rest.empty();
             rest.remove_prefix(std::min(rest.find('%'), rest.size()))) {
            const format::Conversion conversion = format::parse(rest);
            const bool isName = conversion.wants == format::Wants::Narrow;
            const bool isNumber = conversion.wants == format::Wants::Number || conversion.wants == format::Wants::Long;
            if (isName || isNumber) {
                if ((isName ? m_names == kMostNames : m_numbers == kMostNumbers))
                    format::badLogFormat("more conversions than an event has");
                m_namesAt |= isName ? 1U << (m_names + m_numbers) : 0U;
                ++(isName ? m_names : m_numbers);
            } else if (conversion.wants != format::Wants::Percent) {
                format::badLogFormat("a conversion that no event has");
            }
            rest.remove_prefix(conversion.length);
        }
    }

    // Logs the event, with what it happened to and the numbers it has; the short form with a status alone.
    void tell(DWORD level, std::initializer_list<const char*> names, std::initializer_list<std::int64_t> numbers) const;
    void tell(DWORD level, std::int32_t status) const { tell(level, {}, {status}); }

  private:
    const char* m_text = nullptr;
    const char* m_file = nullptr;
    unsigned m_line = 0;
    unsigned m_names = 0;
    unsigned m_numbers = 0;
    unsigned m_namesAt = 0; // a bit for each conversion, 1 for a name; clang 14 loses an array in a consteval object
};

} // namespace wdlt

#include "WdCommon/EventLine.h"

#include <array>
#include <span>

namespace wdlt {

void EventLine::tell(DWORD level, std::initializer_list<const char*> names,
                     std::initializer_list<std::int64_t> numbers) const {
    if (m_text == nullptr || !isLogged(level))
        return;
    const auto* name = names.size() < m_names ? names.begin() : names.end() - m_names;
    const auto* number = numbers.size() < m_numbers ? numbers.begin() : numbers.end() - m_numbers;
    std::array<LogArgument, kMostNames + kMostNumbers> arguments{};
    const std::size_t count = m_names + m_numbers;
    for (std::size_t i = 0; i < count; ++i)
        if ((m_namesAt >> i & 1U) != 0)
            arguments[i] = LogArgument::of(name == names.end() ? "" : *name++);
        else
            arguments[i] = LogArgument::of(number == numbers.end() ? std::int64_t{0} : *number++);
    traceLine(m_file, m_line, level, m_text, std::span(arguments).first(count));
}

} // namespace wdlt

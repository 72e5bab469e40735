/* Names as users type them: found without regard to case; a mistyped one is told with the name that was probably meant. */
#pragma once

#include "KeyPath.h"
#include "ToolError.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class ParseError;
} // namespace CLI

namespace wdlt {

/* The usage error "sytem: no such record; did you mean system?". What there is follows where it is short, or where no
   name is near. */
ToolError unknownName(std::string_view name, std::string_view kind, const std::vector<std::string>& known);

/* The row with that name, otherwise unknownName. `nameOf` gives a row's name. */
template <class Rows, class NameOf>
decltype(auto) findNamed(Rows&& rows, std::string_view name, std::string_view kind, NameOf nameOf) {
    const auto found = std::ranges::find_if(
        rows, [&](const auto& row) { return equalsIgnoringCase(std::string_view(std::invoke(nameOf, row)), name); });
    if (found != std::end(rows))
        return *found;
    std::vector<std::string> known(std::size(rows));
    std::ranges::transform(rows, known.begin(), [&](const auto& row) { return std::string(std::invoke(nameOf, row)); });
    throw unknownName(name, kind, known);
}

/* What the parser refused: a mistyped verb, list or option likewise, anything else in the parser's words. */
ToolError usageError(const CLI::App& app, const CLI::ParseError& error);

} // namespace wdlt

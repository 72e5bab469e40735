/* A tool's manual page, made from its command line. */
#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace wdlt {

/* In the macros of man(7), for the release of that version and date. */
std::string manualPage(const CLI::App& app, std::string_view version, std::string_view date);

} // namespace wdlt

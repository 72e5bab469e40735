/* A tool's manual page, made from its command line. */
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace wdlt {

/* In the macros of man(7); its name and version are the app's. */
std::string manualPage(const CLI::App& app, const std::string& version);

} // namespace wdlt

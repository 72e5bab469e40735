#include "TimeOption.h"

#include <CLI/CLI.hpp>
#include <map>

namespace wdlt {

void addTime(CLI::App& verb, const char* name, std::uint64_t& seconds, const char* help, std::uint64_t least) {
    constexpr std::uint64_t kMost = 86400;
    verb.add_option(name, seconds, help)
        ->type_name("TIME")
        ->transform(CLI::AsNumberWithUnit(std::map<std::string, std::uint64_t>{{"s", 1}, {"m", 60}, {"h", 3600}}))
        ->check(CLI::Range(least, kMost));
}

} // namespace wdlt

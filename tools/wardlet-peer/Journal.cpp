#include "Journal.h"

#include <chrono>
#include <cstdio>
#include <fmt/chrono.h>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

std::string utcNow() {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const auto second = floor<seconds>(now);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(system_clock::to_time_t(second)),
                       (now - second).count());
}

} // namespace

void Journal::tell(std::string_view kind, const nlohmann::ordered_json& rest) {
    const std::lock_guard hold(m_order);
    nlohmann::ordered_json line = {{"time", utcNow()}, {"kind", kind}};
    line.update(rest);
    // A failed stream is reported by runTool at the end of the program.
    fmt::print("{}\n", line.dump());
    std::fflush(stdout);
}

} // namespace wdlt

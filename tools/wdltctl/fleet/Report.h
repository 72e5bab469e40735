/* What a machine tells its fleet's store of itself. */
#pragma once

#include "Json.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace wdlt {

struct Report {
    std::string machine;
    std::vector<std::string> groups = {};
    std::string state;           /* "ok", "drift", "waiting", "refused", "failed", "undone" or "nothing asked" */
    std::int64_t revision = 0;   /* the newest of the documents that it has seen, in the store's count; 0 for none */
    std::int64_t applied = 0;    /* the one that it was last in step with */
    std::string generation = {}; /* dump's, at that time */
    std::int64_t since = 0;      /* seconds since 1970: when this state began */
    std::string reason = {};     /* in words, where it isn't in step */
    std::vector<std::string> drift = {}; /* paths that differ, or that were put back last */
    std::uint64_t putBack = 0;           /* how often, since it was started */
    std::uint64_t failures = 0;          /* applications that failed or were refused, since it was started */

    bool operator==(const Report&) const = default;
};

std::string reportText(const Report& report);
/* nullopt for what isn't a report. */
std::optional<Report> reportFrom(const std::string& text);

} // namespace wdlt

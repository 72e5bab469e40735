/* JSON output. */
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace wdlt {

using Json = nlohmann::ordered_json;

/* To the standard output; all JSON output goes through here. What isn't UTF-8 becomes U+FFFD. */
void printJson(const Json& document);

} // namespace wdlt

#include "Json.h"

#include "Files.h"

#include <nlohmann/json.hpp>

namespace wdlt {

void printJson(const Json& document) {
    writeFile(std::string(kStandardStream), document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

} // namespace wdlt

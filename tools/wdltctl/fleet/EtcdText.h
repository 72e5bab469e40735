/* How etcd writes its messages: keys and values in base64, long numbers as texts, what is zero or empty not at all.
   Nothing here fails with what isn't so written: a garbled message has nothing in it. */
#pragma once

#include "Json.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace wdlt {

/* As the store numbers them. */
enum class EtcdError : std::int64_t { None = 0, NotFound = 5, OutOfRange = 11 /* a revision that is compacted */ };

std::string base64(std::string_view bytes);

/* Null when it is no JSON. */
Json etcdMessage(std::string_view text);
/* Null when it isn't there. */
const Json& memberOf(const Json& object, const char* name);
std::int64_t numberIn(const Json& object, const char* name);
/* What base64 holds; nothing when it is none. */
std::optional<std::string> bytesIn(const Json& object, const char* name);
/* Of the store when it wrote the message. */
std::int64_t revisionOf(const Json& message);

/* Empty when the message reports no error; in a stream an error is an object, else a text. */
std::string errorTextOf(const Json& message);
EtcdError errorOf(const Json& message);

} // namespace wdlt

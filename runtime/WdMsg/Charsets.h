// The library's charsets by name, and the conversion between them.
#pragma once

#include "WipedText.h"

#include <optional>
#include <string_view>

namespace wdmsg {

// Names are case-insensitive. Nothing for an unknown name, a text that is malformed in the source charset, or a
// character that the target charset lacks: no character is dropped or replaced by a similar one. Throws when memory is
// exhausted.
std::optional<Text> convert(std::string_view text, const char* from, const char* to);

// Whether ICU's tables are available.
bool startCharsets();

} // namespace wdmsg

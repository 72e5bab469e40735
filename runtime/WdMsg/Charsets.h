// The charsets of the library, by their names, and texts from one into another.
#pragma once

#include "WipedText.h"

#include <optional>
#include <string_view>

namespace wdmsg {

// Names regardless of case. Nothing for an unknown name, a text that isn't one of the source charset, or a character
// that the target charset lacks: no character is dropped or replaced by a similar one. Throws when memory is exhausted.
std::optional<Text> convert(std::string_view text, const char* from, const char* to);

// Whether the charsets' tables are there.
bool startCharsets();

} // namespace wdmsg

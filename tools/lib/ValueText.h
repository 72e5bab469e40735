/* Registry values as a user reads and types them. */
#pragma once

#include "Json.h"
#include "RegText.h"

#include <string>
#include <string_view>

namespace wdlt {

/* "REG_SZ"; an unknown type gives its number, as 0x.... */
std::string typeName(DWORD type);
/* The value on one line: a text as it is, a number in both bases, bytes in hexadecimal; data that is malformed for its
   type (a text without a terminator, a dword of three bytes) is shown as bytes. */
std::string valueText(const RegValue& value);
/* {"name", "type", "value", "data"}: the value is a text, a number or a list of texts, null for any other type or
   malformed data; the data is in hexadecimal digits. */
Json valueJson(const RegValue& value);
/* The value's name for a listing: "(default)" for the unnamed one. */
std::string valueLabel(const RegValue& value);

/* Makes a value of the type (sz, expand_sz, multi_sz, binary, dword, qword or none, with or without REG_) and the text
   of a command line. Numbers are decimal or 0x..., bytes hexadecimal with or without commas, the texts of a multi_sz
   separated by \0. */
RegValue parseValueArguments(std::u16string name, std::string_view type, std::string_view text);

} // namespace wdlt

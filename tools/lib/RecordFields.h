/* What get, set and --json do with the fields of a record (records/Field.h). A field is read and written at its offset,
   byte by byte, so a record may lie anywhere. */
#pragma once

#include "Field.h"
#include "Json.h"

#include <platform/base.h>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {

/* Shown in place of a secret's value unless secrets are asked for. */
inline constexpr std::string_view kHiddenSecret = "(secret)";

Json fieldJson(const Field& field, std::span<const BYTE> record, bool showSecrets);
/* For people: a text without quotes, a list with spaces. */
std::string fieldText(const Field& field, std::span<const BYTE> record, bool showSecrets);
/* One line: what it is, and in brackets its range, unit, value in a fresh installation, and whether it is read only. */
std::string fieldHelp(const Field& field);

constexpr bool isReadOnly(const Field& field) {
    return field.isReadOnly || field.isKept;
}
/* Takes the value as a user types it. A value that the field can't hold, or a field that is read only, is a usage error
   and leaves the record as it is. */
void setField(const Field& field, std::span<BYTE> record, std::string_view text);
/* The same; the error doesn't name the field. */
void putField(const Field& field, std::span<BYTE> record, std::string_view text);
/* False when a text in the field isn't one of the system code page. */
bool isTextOfCodePage(const Field& field, std::span<const BYTE> record);

} // namespace wdlt

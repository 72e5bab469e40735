// Security descriptors as text, both ways: "O:BAD:P(A;OICI;GA;;;AU)(A;;0x1f0003;;;S-1-5-18)S:(ML;;NW;;;LW)". The text
// of a null list is NO_ACCESS_CONTROL, those of an empty mask and an empty descriptor are empty. What can't be parsed
// is an error: ignoring a right or a type of entry could let in somebody who should stay out.
#pragma once

#include "Descriptor.h"

#include <string>
#include <string_view>

namespace wd {

// ERROR_SUCCESS; ERROR_INVALID_PARAMETER for an unknown or repeated part, ERROR_INVALID_ACL in a list,
// RPC_S_INVALID_STRING_BINDING for an unknown type of entry, ERROR_INVALID_SID for an owner or a group.
DWORD parseSddl(std::string_view text, Descriptor& descriptor);
std::string writeSddl(const Descriptor& descriptor);

} // namespace wd

// Security descriptors as text, both ways: "O:BAD:P(A;OICI;GA;;;AU)(A;;0x1f0003;;;S-1-5-18)S:(ML;;NW;;;LW)". The text
// of a null list is NO_ACCESS_CONTROL, that of an empty descriptor is empty. What can't be parsed is an error: ignoring
// a right or a type of entry could let in somebody who should stay out.
#pragma once

#include "Descriptor.h"

#include <string>
#include <string_view>

namespace wd {

// ERROR_SUCCESS; ERROR_INVALID_PARAMETER for an unknown or repeated part, ERROR_INVALID_ACL in a list,
// ERROR_INVALID_SID for a SID.
DWORD parseSddl(std::string_view text, Descriptor& descriptor);
std::string writeSddl(const Descriptor& descriptor);

} // namespace wd

// Security descriptors as text, both ways: "O:BAD:P(A;OICI;GA;;;AU)(A;;0x1f0003;;;S-1-5-18)S:(ML;;NW;;;LW)". The text
// of a null list is NO_ACCESS_CONTROL, that of an empty descriptor is empty. What can't be read is an error: a right or
// a type of entry that would be passed over could let in somebody who should stay out.
#pragma once

#include "Descriptor.h"

#include <string>
#include <string_view>

namespace wd {

// 0; 87: no such part, or one twice; 1336: in a list; 1337: a SID.
DWORD parseSddl(std::string_view text, Descriptor& descriptor);
std::string writeSddl(const Descriptor& descriptor);

} // namespace wd

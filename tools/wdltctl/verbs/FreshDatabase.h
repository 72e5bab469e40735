/* The first privacy database of an installation: the library only changes one, it never creates it. */
#pragma once

#include <string>

namespace wdlt {

/* Its bytes: no search data and no exclusions. */
std::string freshPrivacyDatabase();

} // namespace wdlt

/* The first privacy database of an installation, which the library changes and never makes. */
#pragma once

#include <string>

namespace wdlt {

/* Its bytes: no search data and no exclusions. */
std::string freshPrivacyDatabase();

} // namespace wdlt

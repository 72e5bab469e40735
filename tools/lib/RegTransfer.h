/* Documents into the registry and subtrees out of it. */
#pragma once

#include "RegText.h"

#include <string>

namespace wdlt {

/* Carries the document out in one transaction: all of it or, with a LayerError, nothing. Deleting what isn't there is
   no failure. */
void importDocument(const RegDocument& document);

/* `path` and all below it, in the order of the registry. A key that vanishes meanwhile is passed over; other changes
   made meanwhile may be in the result or not. */
RegDocument exportSubtree(const std::u16string& path);

} // namespace wdlt

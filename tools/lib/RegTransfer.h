/* Imports documents into the registry and exports subtrees from it. */
#pragma once

#include "RegText.h"

#include <string>
#include <string_view>

namespace wdlt {

/* Applies the document as one change (see OneState.h): all of it or, with a LayerError, nothing. Deleting what isn't there is not
   an error. */
void importDocument(const RegDocument& document);

/* `path` and all below it, in the registry's order. A key that is deleted meanwhile is skipped; other concurrent
   changes may or may not be in the result. */
RegDocument exportSubtree(const std::u16string& path);

/* The value of a document's key; null where there is none. */
const RegValue* findValue(const RegDocument& document, std::u16string_view path, std::u16string_view name);
/* Sets a text, which is added where there is none. */
void setText(RegDocument& document, std::u16string_view path, std::u16string_view name, std::u16string_view text);

} // namespace wdlt

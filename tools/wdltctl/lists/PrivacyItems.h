/* The items of privacy protection, as the library gives and takes them. Their texts are secrets. */
#pragma once

#include "ItemCharset.h"
#include "PrivacyStore.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wdlt {

using Items = std::vector<PrivacyViewItem>;

inline constexpr std::uint32_t kItemIndexes = 32;

/* Failures of all are ToolErrors. */
PrivacyItems readItems();
/* Replaces them by the store's. */
void writeItems(const PrivacyItems& store);
/* For each item WDLT_OK, or why its text can't be searched for. */
std::vector<std::uint32_t> verifyItems(const Items& items);

/* A text that the charset can't hold, or that is too long, is a usage error that begins with `where` and doesn't quote
   it. */
void setItemText(PrivacyViewItem& item, const ItemCharset& charset, const std::string& typed, const std::string& where);
/* A stored text that is invalid in the charset is shown as text in the system code page. */
std::string shownText(const PrivacyViewItem& item, const ItemCharset& charset, bool showSecrets);

} // namespace wdlt

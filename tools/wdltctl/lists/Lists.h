/* Lists whose entries are more than a text and need subcommands of their own. A new one takes a file with its functions
   and one row in Lists.cpp; lists of texts are rows of TextLists.cpp. */
#pragma once

#include "Verbs.h"

#include <cstddef>
#include <optional>

namespace wdlt {

/* Each function adds the list's subcommand to the verb that the function is named after. */
struct List {
    void (*addList)(CLI::App& verb, const Options& options);
    void (*addAdd)(CLI::App& verb, const Options& options);              /* null: the list can only be read */
    void (*addRemove)(CLI::App& verb, const Options& options);           /* likewise */
    void (*addImport)(CLI::App& verb, const Options& options) = nullptr; /* null: not as plain text */
    void (*addExport)(CLI::App& verb, const Options& options) = nullptr;
};

/* Prints how many entries were removed: "2 removed", or "all removed". */
void printRemoved(std::optional<std::size_t> count, const Options& options);

extern const List kDrsRuleList;
extern const List kPrivacyItemList;
extern const List kPrivacyPatternList;
extern const List kRedirectList;
extern const List kAddressList;
extern const List kOverviewList;

} // namespace wdlt

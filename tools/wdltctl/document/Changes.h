/* What differs between two states, path by path. */
#pragma once

#include "Part.h"

#include <string>
#include <vector>

namespace wdlt {

struct Change {
    DocumentPath path;
    Json from; /* null: nothing was there */
    Json to;   /* likewise */
};

/* In the document's order: a list of texts is one change, an object one for each member. */
std::vector<Change> changesBetween(const Json& before, const Json& after);

/* A line each, with its end: "urlf.mode: 1 -> 2", "lists.hosts: + example.com". Coloured on a terminal. */
std::string changeLines(const std::vector<Change>& changes, bool showSecrets);
/* {"path": …, "from": …, "to": …}, or "added" and "removed" for a list. */
Json changesJson(const std::vector<Change>& changes, bool showSecrets);
/* On the standard output, in the form that the options say. */
void printChanges(const std::vector<Change>& changes, bool asJson, bool showSecrets);

} // namespace wdlt

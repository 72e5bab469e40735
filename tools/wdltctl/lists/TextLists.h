/* Lists of short texts: a row tells what is special about one, and list, add, remove, import and export are the same
   for all of them. A new one is a row in TextLists.cpp. */
#pragma once

#include "Verbs.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

using Texts = std::vector<std::string>; /* in the system code page, as they are stored */

struct TextList {
    std::string_view name; /* its word on the command line */
    const char* noun;      /* of one entry */
    const char* help;      /* what the entries are */
    std::size_t mostBytes; /* of an entry, which has one at least */
    std::size_t mostEntries;
    /* The library's status. A file that isn't there is an empty list. `type` is the index of the word in `types`. */
    std::int32_t (*read)(std::uint32_t type, Texts& texts);
    std::int32_t (*write)(std::uint32_t type, const Texts& texts);
    std::span<const std::string_view> types = {}; /* which of several lists stands behind the name; empty: only one */
    /* Whether a text that is too long, or has something else about it, can be stored after all; null: never. */
    bool (*isSpecial)(std::string_view text) = nullptr;
};

std::span<const TextList> allTextLists();

/* A text as it is stored; a usage error, with `where` in front, for one that can't be. */
std::string storedText(const TextList& list, const std::string& typed, const std::string& where);

/* What `name` does with such a list: list, add, remove, import, export. */
void addTextListVerb(std::string_view name, const TextList& list, CLI::App& verb, const Options& options);

} // namespace wdlt

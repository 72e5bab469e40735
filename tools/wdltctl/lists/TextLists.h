/* Lists of short texts: a row says what is special about one, while list, add, remove, import and export are the same
   for all. A new list is a row in TextLists.cpp. */
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
    const char* noun;      /* for one entry */
    const char* help;      /* what the entries are */
    std::size_t mostBytes; /* of an entry; the least is one */
    std::size_t mostEntries;
    /* Both return the library's status. A missing file is an empty list. `type` is an index into `types`. */
    std::int32_t (*read)(std::uint32_t type, Texts& texts);
    std::int32_t (*write)(std::uint32_t type, const Texts& texts);
    std::span<const std::string_view> types = {}; /* words that choose one of several lists; empty: only one */
    /* Whether a text that is too long, or otherwise irregular, can be stored after all; null: never. */
    bool (*isSpecial)(std::string_view text) = nullptr;
};

std::span<const TextList> allTextLists();

/* The text as it is stored; one that can't be stored is a usage error that begins with `where`. */
std::string storedText(const TextList& list, const std::string& typed, const std::string& where);

/* The word of `types` that is meant; an unknown one is a usage error. */
std::string typeNamed(const TextList& list, const std::string& word);

/* Adds the list's subcommand to the verb `name`: list, add, remove, import or export. */
void addTextListVerb(std::string_view name, const TextList& list, CLI::App& verb, const Options& options);

} // namespace wdlt

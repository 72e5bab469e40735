/* Lists of short texts: a row says what is special about one, while list, add, remove, import and export are the same
   for all. A new list is a row in TextLists.cpp. */
#pragma once

#include "Verbs.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

using Texts = std::vector<std::string>; /* in the system code page, as they are stored */

/* What the option --force of a list does. */
enum class Force {
    None,     /* there is no such option */
    Replaces, /* import replaces a list that can't be read, too */
    Loses,    /* a change goes on although lookBeforeWrite finds what it loses */
};

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
    Force force = Force::None;
    /* The form in which a list shows the text; nullopt: it can't be stored. Null: as it is, up to mostBytes. */
    std::optional<std::string> (*canonical)(std::string_view text) = nullptr;
    /* Before a write: a ToolError when it would lose something, unless `isForced`. Null: it never does. */
    void (*lookBeforeWrite)(bool isForced) = nullptr;
    /* How many entries the settings allow, where they say. */
    std::size_t (*limitInStore)() = nullptr;
};

std::span<const TextList> allTextLists();

/* A list that can't be read or written is a ToolError. */
Texts readTextList(const TextList& list, std::uint32_t type);
void writeTextList(const TextList& list, std::uint32_t type, const Texts& texts);

/* The text as it is stored; one that can't be stored is a usage error that begins with `where`. */
std::string storedText(const TextList& list, const std::string& typed, const std::string& where);

/* The word of `types` that is meant; an unknown one is a usage error. */
std::string typeNamed(const TextList& list, const std::string& word);

/* Adds the list's subcommand to the verb `name`: list, add, remove, import or export. */
void addTextListVerb(std::string_view name, const TextList& list, CLI::App& verb, const Options& options);

} // namespace wdlt

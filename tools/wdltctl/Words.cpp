/* Words of operands and options, for the completions of the shells: from the tables that the verbs look them up in. */

#include "Features.h"
#include "Handlers.h"
#include "HomeLook.h"
#include "Records.h"
#include "Shown.h"
#include "TextLists.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace wdlt {
namespace {

template <class Rows>
Completions namesOf(const Rows& rows) {
    Completions words;
    for (const auto& row : rows)
        words.push_back({std::string(row.name), row.help});
    return words;
}

Completions plainWords(std::span<const std::string_view> texts) {
    Completions words;
    for (const std::string_view text : texts)
        words.push_back({std::string(text)});
    return words;
}

Completions recordWords(const Completed&) {
    return namesOf(allRecords());
}

Completions featureWords(const Completed&) {
    return namesOf(allFeatures());
}

/* Asking for handlers would make a home where there is none. */
Completions handlerWords(const Completed&) {
    Completions words;
    if (std::string path; lookAtHome(path, HomeUse::Read) && hasTree())
        for (const Handler& handler : allHandlers())
            words.push_back({handler.name()});
    return words;
}

Completions protocolWords(const Completed& completed) {
    Completions words;
    for (const FeatureItem& place : findFeature(completed.operands.at(0)).places)
        if (place.type != 0)
            words.push_back({std::string(place.protocolName)});
    return words;
}

Completions typeWords(const Completed& completed) {
    const auto lists = allTextLists();
    const auto found = std::ranges::find(lists, completed.verb.get_name(), &TextList::name);
    return found == lists.end() ? Completions() : plainWords(found->types);
}

Completions urlListWords(const Completed&) {
    const auto lists = allTextLists();
    return plainWords(std::ranges::find(lists, std::string_view("urls"), &TextList::name)->types);
}

/* The record's fields; before them, where there are several like it, which one is meant. */
Completions fieldsOf(const Completed& completed, bool toSet) {
    const Record& record = findRecord(completed.operands.at(0));
    Completions words;
    if (record.whichName != nullptr && completed.operands.size() == 1) {
        if (std::string path; lookAtHome(path, HomeUse::Read) && hasTree())
            for (const std::string& which : record.whichWords())
                words.push_back({which});
        return words;
    }
    for (const Field& field : record.fields)
        if (!toSet || !isReadOnly(field))
            words.push_back({nameOf(field) + (toSet ? "=" : ""), fieldHelp(field)});
    return words;
}

Completions fieldWords(const Completed& completed) {
    return fieldsOf(completed, false);
}

Completions fieldValueWords(const Completed& completed) {
    return fieldsOf(completed, true);
}

constexpr PlaceWords kWords[] = {
    {"RECORD", recordWords},   {"FIELD", fieldWords},         {"FIELD=VALUE", fieldValueWords},
    {"FEATURE", featureWords}, {"--protocol", protocolWords}, {"HANDLER", handlerWords},
    {"LIST", typeWords},       {"--list", urlListWords},
};

} // namespace

Completions wordsOf(const Completed& completed) {
    return wordsFrom(kWords, completed);
}

} // namespace wdlt

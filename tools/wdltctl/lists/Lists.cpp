#include "Lists.h"

#include "TextLists.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <string>

namespace wdlt {
namespace {

constexpr const List* kLists[] = {
    &kRedirectList, &kDrsRuleList, &kPrivacyItemList, &kPrivacyPatternList, &kAddressList, &kOverviewList,
};

} // namespace

void printRemoved(std::optional<std::size_t> count, const Options& options) {
    if (options.json)
        printJson({{"removed", count ? Json(*count) : Json("all")}});
    else
        fmt::print("{} removed\n", count ? std::to_string(*count) : "all");
}

void addLists(CLI::App& app, const Options& options) {
    const struct {
        const char* name;
        const char* help;
        void (*List::*part)(CLI::App&, const Options&);
    } verbs[] = {
        {"list", "Show a list, or what there is", &List::addList},
        {"add", "Add to a list", &List::addAdd},
        {"remove", "Remove from a list", &List::addRemove},
        {"import", "Replace a list by a text file", &List::addImport},
        {"export", "Write a list to a text file", &List::addExport},
    };
    for (const auto& each : verbs) {
        auto* verb = app.add_subcommand(each.name, each.help);
        verb->require_subcommand(1);
        if (each.part == &List::addList)
            verb->footer("Tables are for people, and their columns may change: --json is for scripts.");
        for (const List* list : kLists)
            if (list->*each.part != nullptr)
                (list->*each.part)(*verb, options);
        for (const TextList& list : allTextLists())
            addTextListVerb(each.name, list, *verb, options);
    }
}

} // namespace wdlt

/* enable and disable: one feature, by its export. To find what changed, the scan items and handlers are compared before
   and after the call, since a handler also depends on its other items. */

#include "FeatureState.h"
#include "Handlers.h"
#include "LibraryStatus.h"
#include "Suggestion.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <utility>
#include <vector>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

struct SwitchArguments {
    std::string feature;
    std::vector<std::string> protocols;
    std::optional<std::uint32_t> option;
};

struct Selection {
    std::string subject; /* the feature, with its protocols when they were given */
    std::vector<FeatureItem> places;
    std::uint32_t detail = 0; /* types, or the option */
    std::string note;         /* which protocols were taken, when none was given */
};

std::string protocolNames(const std::vector<FeatureItem>& places) {
    std::string names;
    for (const FeatureItem& place : places)
        names.append(names.empty() ? "" : ", ").append(place.protocolName);
    return names;
}

Selection select(const Feature& feature, const SwitchArguments& arguments) {
    Selection selection{std::string(feature.name), {}, 0, {}};
    if (feature.storedOption != nullptr)
        selection.detail = arguments.option ? *arguments.option : feature.storedOption();
    else if (arguments.option)
        throw ToolError(ExitStatus::Usage, fmt::format("--option: {} has none", feature.name));
    std::vector<FeatureItem> places(feature.places.begin(), feature.places.end());
    std::erase_if(places, [](const FeatureItem& place) { return place.type == 0; });
    if (places.empty() && !arguments.protocols.empty())
        throw ToolError(ExitStatus::Usage, fmt::format("--protocol: {} is switched as a whole", feature.name));
    for (const std::string& protocol : arguments.protocols)
        selection.places.push_back(
            findNamed(places, protocol, fmt::format("protocol of {}", feature.name), &FeatureItem::protocolName));
    if (!selection.places.empty()) {
        selection.subject += fmt::format(" ({})", protocolNames(selection.places));
    } else {
        selection.places = placesInUse(feature);
        if (selection.places.empty() && !feature.places.empty())
            throw ToolError(ExitStatus::Failed, fmt::format("{}: none of its protocols has a handler", feature.name));
        if (!selection.places.empty() && selection.places.front().type != 0)
            selection.note = fmt::format("{}: {} {} a handler", feature.name, protocolNames(selection.places),
                                         selection.places.size() == 1 ? "has" : "have");
    }
    for (const FeatureItem& place : selection.places)
        selection.detail |= place.type;
    return selection;
}

/* The handlers that didn't follow the feature, and why. */
std::vector<std::string> handlersThatStay(const std::vector<FeatureItem>& places, bool on) {
    std::vector<std::string> reasons;
    for (const FeatureItem& place : places) {
        const auto handler = handlerOf(place.protocol);
        if (!handler || handler->isOn() == on)
            continue;
        const auto others = itemsThatAreOn(*handler, kDecidingItems);
        reasons.push_back(fmt::format("handler {} stays {}: {}", handler->name(), onOff(!on),
                                      others.empty() ? "none of its scan items is on"
                                                     : fmt::format("{} on", fmt::join(others, ", "))));
    }
    return reasons;
}

std::string missingHandlers(std::span<const FeatureItem> places) {
    std::string names;
    for (const FeatureItem& place : places)
        if (!handlerOf(place.protocol))
            names += fmt::format("{}{}", names.empty() ? "no handler serves protocol " : ", ", place.protocol);
    return names;
}

struct Outcome {
    std::int32_t status;
    std::vector<std::pair<std::string, std::string>> changes; /* what changed, and what it is now */
    std::vector<std::string> staying;
};

Outcome run(const Feature& feature, const Selection& selection, bool on) {
    const auto before = switchesOf(feature, selection.places);
    const std::uint32_t option = feature.storedOption != nullptr ? feature.storedOption() : 0;
    Outcome outcome{feature.enable(on, selection.detail), {}, {}};
    const auto after = switchesOf(feature, selection.places);
    for (std::size_t i = 0; i < after.size(); ++i)
        if (after[i].isOn && after[i].isOn != before[i].isOn)
            outcome.changes.emplace_back(after[i].what, onOff(*after[i].isOn));
    if (feature.storedOption != nullptr && feature.storedOption() != option)
        outcome.changes.emplace_back(fmt::format("option of {}", feature.name), std::to_string(feature.storedOption()));
    // A handler that others keep on is news only together with a change.
    if (outcome.status == WDLT_OK && (on || !outcome.changes.empty()))
        outcome.staying = handlersThatStay(selection.places, on);
    return outcome;
}

void printOutcome(const Feature& feature, const Selection& selection, const Outcome& outcome, bool on,
                  const Options& options) {
    if (options.json) {
        Json document = {{"feature", feature.name}, {"status", outcome.status}, {"changed", Json::object()}};
        for (const auto& [what, state] : outcome.changes)
            document["changed"][what] = state;
        document["staying"] = outcome.staying;
        if (!selection.note.empty())
            document["note"] = selection.note;
        printJson(document);
        return;
    }
    if (!selection.note.empty())
        fmt::print("{}\n", selection.note);
    for (const auto& [what, state] : outcome.changes)
        fmt::print("{}: {}\n", what, state);
    for (const std::string& reason : outcome.staying)
        fmt::print("{}\n", reason);
    if (outcome.status == WDLT_OK && outcome.changes.empty() && outcome.staying.empty())
        fmt::print("{} is {} already\n", selection.subject, onOff(on));
}

void switchFeature(const SwitchArguments& arguments, bool on, const Options& options) {
    const Feature& feature = findFeature(arguments.feature);
    const Selection selection = select(feature, arguments);
    const Outcome outcome = run(feature, selection, on);
    // A failure may follow a change: print the change first.
    printOutcome(feature, selection, outcome, on, options);
    const std::string missing =
        missingHandlers(feature.needsWeb ? findFeature("urlf").places : std::span<const FeatureItem>(selection.places));
    if (outcome.status < WDLT_OK && outcome.status != WDLT_E_NO_ANSWER && !outcome.changes.empty())
        throw ToolError(ExitStatus::Partial,
                        fmt::format("{}{}{}", statusText(outcome.status), missing.empty() ? "" : ": ", missing));
    checkStatus(outcome.status, missing);
}

void addVerb(CLI::App& app, const Options& options, const char* name, const char* help, bool on) {
    auto* verb = app.add_subcommand(name, help);
    const auto arguments = std::make_shared<SwitchArguments>();
    verb->add_option("FEATURE", arguments->feature, "Name of the feature")->required();
    verb->add_option("--protocol", arguments->protocols,
                     "For pdp: smtp, http, 4, 5, 6 or 7, parted by commas; without it, those that have a handler")
        ->delimiter(',')
        ->allow_extra_args(false); // otherwise the feature's name after it would count as another protocol
    verb->add_option("--option", arguments->option,
                     "For drs-white-list: the option stored with its switch; without it, the stored one stays");
    std::string features = "Features:\n";
    for (const Feature& feature : allFeatures())
        features += fmt::format("  {:16}{}\n", feature.name, feature.help);
    verb->footer(features + "The scan item is switched first, then its handler, which is on as long as one of its "
                            "scan items is. https and drs switch the URL filter and the plug-in manager on before "
                            "themselves, and off never. Each change is told to the running service, which may take a "
                            "minute to answer.");
    runs(*verb, Needs::Change, [arguments, on, &options] { switchFeature(*arguments, on, options); });
}

} // namespace

void addSwitch(CLI::App& app, const Options& options) {
    addVerb(app, options, "enable", "Switch a feature on", true);
    addVerb(app, options, "disable", "Switch a feature off", false);
}

} // namespace wdlt

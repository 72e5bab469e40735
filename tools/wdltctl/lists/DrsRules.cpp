/* The white list of DRS: rules for a process and a domain, each with a unique index and name. */

#include "DrsRules.h"

#include "Display.h"
#include "KeyPath.h"
#include "LibraryStatus.h"
#include "Lists.h"
#include "Numbers.h"
#include "Table.h"
#include "ToolError.h"
#include "Utf.h"
#include "WideText.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {

/* Asks for the count first, and tries again when the list has grown meanwhile. */
Rules readRules() {
    constexpr int kAttempts = 4;
    Rules rules;
    std::int32_t status = WDLT_E_BUFFER_SIZE;
    std::int32_t count = 0;
    for (int i = 0; i < kAttempts && status == WDLT_E_BUFFER_SIZE; ++i) {
        rules.resize(static_cast<std::size_t>(count));
        status = WdltGetAllDRSWhiteListItem(rules.empty() ? nullptr : rules.data(), &count);
    }
    checkStatus(status, "the rules");
    rules.resize(static_cast<std::size_t>(count));
    return rules;
}

/* The name becomes a key's name: with a backslash the key would be a subkey of another rule's. */
void checkRuleName(const std::string& name) {
    WdltDrsWhiteListItem rule{};
    if (name.empty() || name.find('\\') != std::string::npos)
        throw ToolError(ExitStatus::Usage, "RULE: 1 to 199 characters, none of them a backslash");
    setWide(rule.RuleName, "RULE", name);
}

namespace {

struct RuleArguments {
    std::string rule;
    std::uint32_t index = 0; /* 0: none given */
    std::vector<std::uint32_t> indexes;
    std::string process;
    std::string domain;
    std::vector<std::string> rules;
    bool all = false;
};

void listRules(const Options& options) {
    const Rules rules = readRules();
    if (options.json) {
        Json document = Json::array();
        for (const WdltDrsWhiteListItem& rule : rules)
            document.push_back({{"index", rule.Index},
                                {"rule", utf8FromUtf16(textOf(rule.RuleName))},
                                {"process", utf8FromUtf16(textOf(rule.ProcessImageName))},
                                {"domain", utf8FromUtf16(textOf(rule.DomainName))}});
        printJson(document);
        return;
    }
    std::vector<TableRow> rows = {{"INDEX", "RULE", "PROCESS", "DOMAIN"}};
    for (const WdltDrsWhiteListItem& rule : rules)
        rows.push_back({std::to_string(rule.Index), displayText(textOf(rule.RuleName)),
                        displayText(textOf(rule.ProcessImageName)), displayText(textOf(rule.DomainName))});
    printTable(rows);
}

std::uint32_t lowestFreeIndex(const Rules& rules) {
    for (std::uint32_t index = 1; index <= WDLT_MAX_DRS_INDEX; ++index)
        if (std::ranges::find(rules, index, &WdltDrsWhiteListItem::Index) == rules.end())
            return index;
    throw ToolError(ExitStatus::Failed, fmt::format("all {} indexes are taken", WDLT_MAX_DRS_INDEX));
}

void addRule(const RuleArguments& arguments, const Options& options) {
    WdltDrsWhiteListItem rule{};
    checkRuleName(arguments.rule);
    setWide(rule.RuleName, "RULE", arguments.rule);
    setWide(rule.ProcessImageName, "--process", arguments.process);
    setWide(rule.DomainName, "--domain", arguments.domain);
    const Rules rules = readRules();
    rule.Index = arguments.index != 0 ? arguments.index : lowestFreeIndex(rules);
    // The library refuses both with the same status; only its log says which it was.
    for (const WdltDrsWhiteListItem& other : rules) {
        if (other.Index == rule.Index)
            throw ToolError(ExitStatus::Usage,
                            fmt::format("index {} is that of {}", rule.Index, displayText(textOf(other.RuleName))));
        if (equalsIgnoringCase(textOf(other.RuleName), textOf(rule.RuleName)))
            throw ToolError(ExitStatus::Usage, fmt::format("there is a rule {} already", arguments.rule));
    }
    checkStatus(WdltAddDRSWhiteListItem(&rule), fmt::format("rule {}", arguments.rule));
    if (options.json)
        printJson({{"index", rule.Index}, {"rule", arguments.rule}});
    else
        fmt::print("added with index {}\n", rule.Index);
}

/* By their names, in any case, and by their indexes. */
std::vector<std::uint32_t> indexesOf(const RuleArguments& arguments) {
    const Rules rules = readRules();
    std::vector<std::uint32_t> indexes;
    for (const std::string& name : arguments.rules) {
        const auto wanted = utf16FromArgument(name);
        const auto rule = std::ranges::find_if(
            rules, [&](const auto& each) { return equalsIgnoringCase(textOf(each.RuleName), wanted); });
        if (rule == rules.end())
            throw ToolError(ExitStatus::Usage,
                            fmt::format("{}: no such rule{}", name,
                                        parseNumber(name) ? fmt::format("; --index {} removes by index", name) : ""));
        indexes.push_back(rule->Index);
    }
    for (const std::uint32_t index : arguments.indexes) {
        if (std::ranges::find(rules, index, &WdltDrsWhiteListItem::Index) == rules.end())
            throw ToolError(ExitStatus::Usage, fmt::format("no rule has the index {}", index));
        if (std::ranges::find(indexes, index) == indexes.end())
            indexes.push_back(index);
    }
    return indexes;
}

void removeRules(const RuleArguments& arguments, const Options& options) {
    if (arguments.all == (!arguments.rules.empty() || !arguments.indexes.empty()))
        throw ToolError(ExitStatus::Usage, "rules are needed, or --all");
    // Look up all of them before removing any. An index of 0 stands for all.
    const auto indexes = arguments.all ? std::vector<std::uint32_t>{0} : indexesOf(arguments);
    std::size_t removed = 0;
    std::int32_t untold = WDLT_OK; // a rule that the service didn't hear of is removed all the same
    for (const std::uint32_t index : indexes) {
        const std::int32_t status = WdltDeleteDRSWhiteListItem(index);
        const std::string what = index == 0 ? "all rules" : fmt::format("rule {}", index);
        if (status == WDLT_E_NO_ANSWER) {
            untold = status;
        } else if (status != WDLT_OK && removed != 0) {
            fmt::print("{} removed\n", removed);
            throw ToolError(ExitStatus::Partial, fmt::format("{}: {}", what, statusText(status)));
        } else {
            checkStatus(status, what);
        }
        ++removed;
    }
    checkStatus(untold, fmt::format("{} removed", arguments.all ? "all rules" : std::to_string(removed)));
    printRemoved(arguments.all ? std::nullopt : std::optional(removed), options);
}

void addRuleList(CLI::App& verb, const Options& options) {
    runs(*verb.add_subcommand("rules", "Show the rules of DRS's white list"), Needs::Tree,
         [&options] { listRules(options); });
}

void addRuleAdd(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<RuleArguments>();
    auto* rules = verb.add_subcommand("rules", "Add a rule to DRS's white list");
    rules->add_option("RULE", arguments->rule, "Its name, 1 to 199 characters")->required();
    rules->add_option("--index", arguments->index, "Its index; the lowest that is free without it")
        ->check(CLI::Range(1, WDLT_MAX_DRS_INDEX));
    rules->add_option("--process", arguments->process, "Name of the process's image, at most 299 characters");
    rules->add_option("--domain", arguments->domain, "Name of the domain, at most 255 characters");
    runs(*rules, Needs::Change, [arguments, &options] { addRule(*arguments, options); });
}

void addRuleRemove(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<RuleArguments>();
    auto* rules = verb.add_subcommand("rules", "Remove rules from DRS's white list");
    rules->add_option("RULE", arguments->rules, "Their names");
    rules->add_option("--index", arguments->indexes, "Indexes of rules, parted by commas")
        ->delimiter(',')
        ->allow_extra_args(false); // otherwise a name after it would count as another index
    rules->add_flag("--all", arguments->all, "Remove all of them, those too that no list shows");
    runs(*rules, Needs::Change, [arguments, &options] { removeRules(*arguments, options); });
}

} // namespace

const List kDrsRuleList = {addRuleList, addRuleAdd, addRuleRemove};

} // namespace wdlt

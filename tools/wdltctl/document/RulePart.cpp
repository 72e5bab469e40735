/* The rules of DRS's white list in the document. */

#include "DrsRules.h"
#include "Entries.h"
#include "LibraryStatus.h"
#include "Part.h"
#include "Utf.h"
#include "WideText.h"

#include <fmt/format.h>
#include <set>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr const char* kRuleIndex = "index";
constexpr const char* kRuleProcess = "process";
constexpr const char* kRuleDomain = "domain";

constexpr Column kRuleColumns[] = {
    {.name = kRuleIndex, .kind = Column::Kind::Number, .most = WDLT_MAX_DRS_INDEX, .least = 1, .mayBeAbsent = true},
    {.name = kRuleProcess, .kind = Column::Kind::Wide, .most = std::size(WdltDrsWhiteListItem{}.ProcessImageName) - 1},
    {.name = kRuleDomain, .kind = Column::Kind::Wide, .most = std::size(WdltDrsWhiteListItem{}.DomainName) - 1},
};

class RulePart : public Part {
  public:
    RulePart() : Part({"lists", "rules"}, "the rules of DRS's white list, by their names") {}

    Json read() const override {
        Json state = Json::object();
        for (const WdltDrsWhiteListItem& rule : readRules())
            state[utf8FromUtf16(textOf(rule.RuleName))] = {{kRuleIndex, rule.Index},
                                                           {kRuleProcess, utf8FromUtf16(textOf(rule.ProcessImageName))},
                                                           {kRuleDomain, utf8FromUtf16(textOf(rule.DomainName))}};
        return state;
    }

    Json wanted(const Json& given, const Json& now, Complaints& complaints) const override {
        Json wanted = Json::object();
        std::set<std::uint32_t> taken;
        if (given.size() > WDLT_MAX_DRS_INDEX) {
            complaints.add(path(), fmt::format("{} rules, at most {}", given.size(), WDLT_MAX_DRS_INDEX));
            return now;
        }
        const bool isList = eachEntry(given, path(), complaints, [&](const std::string& name, const Json& entry) {
            const DocumentPath place = below(path(), name);
            const Json rule = wantedEntry(kRuleColumns, entry, place, complaints);
            complaints.collect(place, [&] { checkRuleName(name); });
            const Json index = rule.value(kRuleIndex, Json());
            if (!index.is_null() && !taken.insert(index.get<std::uint32_t>()).second)
                complaints.add(below(place, kRuleIndex), "another rule has it too");
            wanted[name] = {
                {kRuleIndex, index}, {kRuleProcess, rule.at(kRuleProcess)}, {kRuleDomain, rule.at(kRuleDomain)}};
        });
        // A rule that is given without an index keeps its own, unless another is given that; else it gets the lowest.
        for (auto rule = wanted.begin(); rule != wanted.end(); ++rule)
            if (rule->at(kRuleIndex).is_null() && now.contains(rule.key()) &&
                taken.insert(now[rule.key()].at(kRuleIndex).get<std::uint32_t>()).second)
                (*rule)[kRuleIndex] = now[rule.key()].at(kRuleIndex);
        std::uint32_t lowest = 1;
        for (Json& rule : wanted)
            if (rule.at(kRuleIndex).is_null()) {
                while (!taken.insert(lowest).second)
                    ++lowest;
                rule[kRuleIndex] = lowest;
            }
        return isList ? wanted : now;
    }

    /* A rule can't be changed, and its index may be that of another that goes. */
    std::int32_t write(const Json& now, const Json& wanted) const override {
        std::int32_t untold = WDLT_OK;
        const auto call = [&](std::int32_t status, const std::string& name) {
            if (status == WDLT_E_NO_ANSWER)
                untold = status;
            else
                checkStatus(status, pathText(below(path(), name)));
        };
        for (const auto& [name, rule] : now.items())
            if (!wanted.contains(name) || !isSame(wanted[name], rule))
                call(WdltDeleteDRSWhiteListItem(rule.at(kRuleIndex).get<std::uint32_t>()), name);
        for (const auto& [name, entry] : wanted.items()) {
            if (now.contains(name) && isSame(now[name], entry))
                continue;
            WdltDrsWhiteListItem rule{};
            setWide(rule.RuleName, name, name);
            setWide(rule.ProcessImageName, kRuleProcess, entry.at(kRuleProcess).get<std::string>());
            setWide(rule.DomainName, kRuleDomain, entry.at(kRuleDomain).get<std::string>());
            rule.Index = entry.at(kRuleIndex).get<std::uint32_t>();
            call(WdltAddDRSWhiteListItem(&rule), name);
        }
        return untold;
    }

    Json schema() const override { return schemaOf(entriesSchema(kRuleColumns, "^[^\\\\]{1,199}$")); }
};

} // namespace

const Part* rulePart() {
    static const RulePart part;
    return &part;
}

} // namespace wdlt

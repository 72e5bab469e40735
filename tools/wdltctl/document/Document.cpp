#include "Document.h"

#include "Digest.h"
#include "Display.h"
#include "Files.h"
#include "Installation.h"
#include "OneState.h"
#include "RegistryKey.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <set>

namespace wdlt {
namespace {

constexpr int kFormat = 1;
constexpr const char* kSections[] = {"records", "features", "lists"};
constexpr std::size_t kMostMembers = 4096; // more than any list of entries may have

/* 8e3 and 8000.0 are whole numbers too. */
bool isWhole(double number) {
    constexpr double kMost = 9007199254740992; // 2^53
    return number == std::floor(number) && std::abs(number) <= kMost;
}

Json readState(std::span<const Part* const> parts) {
    Json state = {{kSections[0], Json::object()}, {kSections[1], Json::object()}, {kSections[2], Json::object()}};
    for (const Part* part : parts) {
        const Json read = part->read();
        if (!read.is_null())
            put(state, part->path(), &read);
    }
    return state;
}

void leaveOutSecrets(const Part& part, Json& value, DocumentPath& inside) {
    if (!value.is_object())
        return;
    for (auto member = value.begin(); member != value.end();) {
        inside.push_back(member.key());
        const bool isSecret = !member.value().is_object() && part.isSecret(inside);
        if (!isSecret)
            leaveOutSecrets(part, member.value(), inside);
        inside.pop_back();
        member = isSecret ? value.erase(member) : std::next(member);
    }
}

Json withoutSecrets(Json state) {
    for (const Part* part : allParts())
        if (const Json* found = at(state, part->path())) {
            Json shown = *found;
            DocumentPath inside;
            leaveOutSecrets(*part, shown, inside);
            put(state, part->path(), &shown);
        }
    return state;
}

/* The words that may follow a path that is no part's own. */
std::vector<std::string> childrenOf(const DocumentPath& path) {
    std::vector<std::string> children;
    for (const Part* part : allParts())
        if (part->path().size() > path.size() && std::equal(path.begin(), path.end(), part->path().begin()) &&
            std::ranges::find(children, part->path()[path.size()]) == children.end())
            children.push_back(part->path()[path.size()]);
    return children;
}

/* Calls `take` for each part that the document mentions. Null for a section is null for all in it. */
void eachPart(const Json& given, const DocumentPath& path, Complaints& complaints,
              const std::function<void(const Part& part, const Json& given)>& take) {
    const auto part = std::ranges::find_if(allParts(), [&](const Part* each) { return each->path() == path; });
    if (part != allParts().end())
        return take(**part, given);
    const std::vector<std::string> children = childrenOf(path);
    const auto go = [&](const std::string& name, const Json& value) {
        eachPart(value, below(path, name), complaints, take);
    };
    if (given.is_null())
        for (const std::string& name : children)
            go(name, nullptr);
    else
        eachMember(given, path, children, complaints, go);
}

void eachPartOf(const Json& document, Complaints& complaints,
                const std::function<void(const Part& part, const Json& given)>& take) {
    const std::vector<std::string> known = {"$schema",    "format",     "generation",
                                            kSections[0], kSections[1], kSections[2]};
    eachMember(document, {}, known, complaints, [&](const std::string& name, const Json& value) {
        if (name == "format" && value != kFormat)
            complaints.add({name}, fmt::format("{} is needed", kFormat));
        else if (std::ranges::find(kSections, name) != std::end(kSections))
            eachPart(value, {name}, complaints, take);
        else if (name != "format" && !value.is_string())
            complaints.add({name}, "a text is needed");
    });
}

} // namespace

std::string changeMarks() {
    std::string marks = fmt::format("{}", registryGeneration());
    const Installation installation = Installation::read();
    for (const DataFile& file : allDataFiles())
        marks += " " + fileMark(installation.pathOf(file));
    return marks;
}

Snapshot takeSnapshot(std::span<const Part* const> parts) {
    constexpr int kTries = 20;
    std::string before = changeMarks();
    for (int i = 0; i < kTries; ++i) {
        Snapshot snapshot{readState(parts), {}};
        std::string after = changeMarks();
        if (before == after) {
            snapshot.marks = std::move(after);
            return snapshot;
        }
        before = std::move(after);
    }
    throw ToolError(ExitStatus::Unknown, "another program changes the settings all the while");
}

/* Without the secrets, which could be guessed by it: their own changes are among the marks. */
std::string generationOf(const Snapshot& snapshot) {
    const std::string& marks = snapshot.marks;
    const std::string digest = hexDigits(sha256(marks + withoutSecrets(snapshot.state).dump()));
    return fmt::format("{}-{}", marks.substr(0, marks.find(' ')), digest.substr(0, 16));
}

Json documentOf(const Snapshot& snapshot, bool showSecrets) {
    Json document = {{"format", kFormat}, {"generation", generationOf(snapshot)}};
    document.update(showSecrets ? snapshot.state : withoutSecrets(snapshot.state));
    return document;
}

Json parseDocument(const std::string& content, const std::string& name) {
    const auto refuse = [&](const std::string& why) -> bool {
        throw ToolError(ExitStatus::Usage, fmt::format("{}: {}", name, why), {.path = name});
    };
    std::vector<std::set<std::string>> names;
    const auto watch = [&](int, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::object_start)
            names.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            names.pop_back();
        else if (event == Json::parse_event_t::key && !names.back().insert(parsed.get<std::string>()).second)
            return refuse(fmt::format("the member {} is there twice", parsed.dump()));
        else if (event == Json::parse_event_t::key && names.back().size() > kMostMembers)
            return refuse(fmt::format("an object of more than {} members", kMostMembers));
        else if (event == Json::parse_event_t::value && parsed.is_number_float() && isWhole(parsed.get<double>()))
            parsed = static_cast<std::int64_t>(parsed.get<double>());
        return true;
    };
    try {
        const std::string_view text(content);
        return Json::parse(text.substr(text.starts_with("\xEF\xBB\xBF") ? 3 : 0), watch);
    } catch (const Json::exception& error) {
        // Without what was read last, which may be a secret.
        const std::string_view words(error.what());
        const std::size_t begin = words.find(']') + 2;
        refuse(fmt::format("not JSON: {}", words.substr(begin, words.find("; last read") - begin)));
        return nullptr;
    }
}

std::vector<const Part*> partsFor(Layers layers) {
    std::vector<const Part*> mentioned;
    Complaints ignored; // wantedState has them too
    for (const Layer& layer : layers)
        eachPartOf(*layer.document, ignored, [&](const Part& part, const Json&) { mentioned.push_back(&part); });
    std::vector<const Part*> parts;
    std::ranges::copy_if(allParts(), std::back_inserter(parts), [&](const Part* part) {
        return part->path().front() == "features" || part->path() == kHandlerPath ||
               std::ranges::find(mentioned, part) != mentioned.end();
    });
    return parts;
}

Wanted wantedState(Layers layers, const Json& now) {
    Wanted wanted{now, {}};
    for (const Layer& layer : layers) {
        Complaints complaints;
        eachPartOf(*layer.document, complaints, [&](const Part& part, const Json& given) {
            const Json* const state = at(wanted.state, part.path());
            const Json asked = part.wanted(given, state == nullptr ? Json() : *state, complaints);
            if (asked.is_null())
                return;
            put(wanted.state, part.path(), &asked);
            if (std::ranges::find(wanted.parts, &part) == wanted.parts.end())
                wanted.parts.push_back(&part);
        });
        complaints.throwIfAny(layer.name);
    }
    return wanted;
}

Json wantedOf(const Json& document, const Json& now) {
    Json base = Json::object();
    Complaints complaints;
    const auto takeOver = [&](const Part& part, const Json& given) {
        if (at(base, part.path()) == nullptr)
            put(base, part.path(), &given);
    };
    eachPartOf(now, complaints, takeOver);
    eachPartOf(document, complaints, takeOver);
    complaints.throwIfAny();
    const Layer only{&document};
    return wantedState({&only, 1}, base).state;
}

const Json* at(const Json& state, const DocumentPath& path) {
    const Json* found = &state;
    for (const std::string& name : path) {
        if (!found->is_object() || !found->contains(name))
            return nullptr;
        found = &(*found)[name];
    }
    return found;
}

void put(Json& state, const DocumentPath& path, const Json* value) {
    Json* place = &state;
    for (const std::string& name : std::span(path).first(path.size() - 1))
        place = &(*place)[name];
    if (value != nullptr)
        (*place)[path.back()] = *value;
    else
        place->erase(path.back());
}

Json documentSchema() {
    Json properties = {
        {"$schema", {{"type", "string"}}},
        {"format", {{"const", kFormat}}},
        {"generation",
         {{"type", "string"}, {"description", "changes with whatever the document shows; load ignores it"}}}};
    for (const Part* part : allParts()) {
        Json* place = &properties;
        for (const std::string& name : std::span(part->path()).first(part->path().size() - 1)) {
            Json& section = (*place)[name];
            if (section.is_null())
                section = {
                    {"type", {"object", "null"}}, {"properties", Json::object()}, {"additionalProperties", false}};
            place = &section["properties"];
        }
        (*place)[part->path().back()] = part->schema();
    }
    return {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
            {"title", "A configuration, whole or in part"},
            {"description", "What wdltctl dump prints and load takes. What is left out is left alone; a list replaces "
                            "the list; null is what a fresh installation has."},
            {"type", "object"},
            {"properties", properties},
            {"additionalProperties", false}};
}

} // namespace wdlt

#include "Part.h"

#include "Suggestion.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>

namespace wdlt {
namespace {

constexpr std::size_t kMostName = 64; // that is worth a suggestion

bool isPlainWord(std::string_view name) {
    return !name.empty() && std::ranges::all_of(name, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
}

} // namespace

std::string pathText(const DocumentPath& path) {
    const bool isRecord = path.size() > 1 && path.front() == "records";
    std::string text;
    for (const std::string& name : std::span(path).subspan(isRecord ? 1 : 0))
        text += fmt::format("{}{}", text.empty() ? "" : ".",
                            isPlainWord(name) ? name : Json(name).dump(-1, ' ', false, Json::error_handler_t::replace));
    return text;
}

DocumentPath below(DocumentPath path, std::string name) {
    path.push_back(std::move(name));
    return path;
}

bool isSame(const Json& a, const Json& b) {
    if (!a.is_object() || !b.is_object())
        return a == b;
    return a.size() == b.size() && std::ranges::all_of(a.items(), [&](const auto& member) {
               const auto other = b.find(member.key());
               return other != b.end() && isSame(member.value(), *other);
           });
}

void Complaints::add(const DocumentPath& path, std::string_view words) {
    m_all.push_back(fmt::format("{}: {}", path.empty() ? "document" : pathText(path), words));
}

void Complaints::collect(const DocumentPath& path, const std::function<void()>& body) {
    try {
        body();
    } catch (const ToolError& error) {
        if (error.status() != ExitStatus::Usage)
            throw;
        add(path, error.what());
    }
}

void Complaints::throwIfAny(const std::string& name) const {
    const std::string begin = name.empty() ? "" : name + ": ";
    if (m_all.size() == 1)
        throw ToolError(ExitStatus::Usage, begin + m_all.front());
    if (!m_all.empty())
        throw ToolError(ExitStatus::Usage, fmt::format("{}{} errors\n{}", begin, m_all.size(), fmt::join(m_all, "\n")));
}

void Part::check(const Json&, bool, Complaints&) const {}

bool Part::isSecret(std::span<const std::string>) const {
    return false;
}

Json Part::schemaOf(Json type) const {
    Json schema = {{"description", m_help + "; null: as in a fresh installation"}};
    schema["oneOf"] = {std::move(type), {{"type", "null"}}};
    return schema;
}

std::span<const Part* const> allParts() {
    static const std::vector<const Part*> all = [] {
        std::vector<const Part*> parts;
        addRecordParts(parts);
        addFeatureParts(parts);
        addTextListParts(parts);
        for (const Part* part : {redirectPart(), rulePart(), itemPart()})
            parts.push_back(part);
        return parts;
    }();
    return all;
}

void eachMember(const Json& given, const DocumentPath& path, const std::vector<std::string>& known,
                Complaints& complaints, const std::function<void(const std::string& name, const Json& value)>& take) {
    if (!given.is_object()) {
        complaints.add(path, "an object is needed");
        return;
    }
    for (const auto& [name, value] : given.items()) {
        if (std::ranges::find(known, name) != known.end())
            take(name, value);
        else
            complaints.add(path, unknownName(std::string_view(name).substr(0, kMostName), "member", known).what());
    }
}

} // namespace wdlt

#include "Desired.h"

#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>

namespace wdlt {

std::string keyStep(const std::string& what, const std::string& name) {
    constexpr std::size_t kLongest = 255;
    const bool isPlain = std::ranges::none_of(
        name, [](char c) { return c == '/' || static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; });
    if (name.empty() || name.size() > kLongest || !isPlain)
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}: 1 to {} characters without slash and blank are needed", what, kLongest));
    return name;
}

std::vector<std::string> documentKeys(const Member& member) {
    std::vector<std::string> keys = {kBaseKey};
    for (const std::string& group : member.groups)
        keys.push_back(kGroupKeys + group);
    keys.push_back(kMachineKeys + member.machine);
    return keys;
}

std::string statusKey(const std::string& machine) {
    return kStatusKeys + machine;
}

Desired::Desired(const std::string& prefix, const Found& found) {
    for (const StoredKey& each : found.keys) {
        std::string name = each.key.substr(prefix.size() + 1);
        Json document = parseDocument(each.value, name);
        m_documents.push_back({std::move(name), std::move(document)});
    }
}

std::vector<Layer> Desired::layers() const {
    std::vector<Layer> layers;
    for (const Named& each : m_documents)
        layers.push_back({&each.document, each.name});
    return layers;
}

std::string stampOf(const Found& found) {
    std::string stamp;
    for (const StoredKey& each : found.keys)
        stamp += fmt::format("{}@{}\n", each.key, each.modified);
    return stamp;
}

std::int64_t newestOf(const Found& found) {
    std::int64_t newest = 0;
    for (const StoredKey& each : found.keys)
        newest = std::max(newest, each.modified);
    return newest;
}

} // namespace wdlt

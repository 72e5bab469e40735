#include "Desired.h"

#include "Digest.h"
#include "Display.h"
#include "ToolError.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

namespace wdlt {
namespace {

/* One machine's folders are no other's: lists and logs of all would be in them. */
void refuseDirectories(const Json& document, const std::string& name) {
    for (const char* const field : {"install-path", "temp-path", "log-path"})
        if (const Json* const found = at(document, {"records", "system", field}); found != nullptr && !found->is_null())
            throw ToolError(ExitStatus::Usage,
                            fmt::format("{}: system.{}: a directory is a machine's own: leave it out", name, field));
}

} // namespace

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
        if (!name.starts_with(kMachineKeys + 1))
            refuseDirectories(document, name);
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
        stamp += fmt::format("{}@{} {}\n", each.key, each.modified, hexDigits(sha256(each.value)));
    return stamp;
}

std::int64_t newestOf(const Found& found) {
    std::int64_t newest = 0;
    for (const StoredKey& each : found.keys)
        newest = std::max(newest, each.modified);
    return newest;
}

std::int64_t newestIn(const std::string& stamp) {
    std::int64_t newest = 0;
    for (std::size_t place = stamp.find('@'); place != stamp.npos; place = stamp.find('@', place)) {
        std::int64_t revision = 0;
        ++place;
        std::from_chars(stamp.data() + place, stamp.data() + stamp.size(), revision);
        newest = std::max(newest, revision);
    }
    return newest;
}

} // namespace wdlt

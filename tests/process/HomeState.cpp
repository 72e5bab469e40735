#include "HomeState.h"

#include "TestKey.h"
#include "Tree.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kRoot = "SOFTWARE";
// The privacy database begins with this, and contains the time of its last write.
constexpr std::string_view kDatedFile = "__PRIVACY_DATA_PROTECTION__";
constexpr std::size_t kDateAt = 48;
constexpr std::size_t kDateBytes = 8;

void addKey(HomeState& state, const std::string& path) {
    const TestKey key = TestKey::open(path.c_str());
    state[path] = key ? "" : "can't be opened";
    std::string data(16 * 1024, '\0');
    char name[512];
    for (DWORD index = 0;; ++index) {
        DWORD type = 0;
        DWORD length = sizeof name;
        auto size = static_cast<DWORD>(data.size());
        const LONG error =
            RegEnumValueA(key.get(), index, name, &length, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size);
        if (static_cast<DWORD>(error) == ERROR_MORE_DATA)
            throw std::runtime_error(path + " has a value that is too large to look at");
        if (error != 0)
            break;
        const std::string value = data.substr(0, size); // a text is compared without the rest of its field
        state[path + "\\" + name] = std::to_string(type) + (type == REG_SZ ? value.c_str() : value);
    }
    for (const std::string& below : tree::subkeys(path))
        addKey(state, path + "\\" + below);
}

std::optional<std::string> contentOf(const HomeState& state, const std::string& name) {
    const auto found = state.find(name);
    return found == state.end() ? std::nullopt : std::optional(found->second);
}

} // namespace

HomeState lookAtHome(const fs::path& home) {
    HomeState state;
    // A folder that doesn't have its permissions yet is still empty.
    for (const auto& entry : fs::recursive_directory_iterator(home, fs::directory_options::skip_permission_denied)) {
        const std::string name = entry.path().lexically_relative(home);
        if (name == "objects" || name.starts_with("objects/") || name.starts_with("backup/")) // copies, under dates
            continue;
        if (entry.is_directory() && entry.path().extension() == ".new")
            state[name] = "half made"; // other folders show by their files
        if (!entry.is_regular_file())
            continue;
        std::string& content = state[name];
        if (name.starts_with("registry/"))
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        content.assign(std::istreambuf_iterator<char>(file), {});
        if (content.starts_with(kDatedFile))
            content.replace(kDateAt, kDateBytes, kDateBytes, '?');
    }
    addKey(state, std::string(kRoot)); // after the files, since the layer recreates some of them
    return state;
}

void writeState(const HomeState& state, const fs::path& file) {
    std::ofstream out(file, std::ios::binary);
    for (const auto& [name, content] : state)
        out << name.size() << ' ' << content.size() << '\n' << name << content;
}

HomeState readState(const fs::path& file) {
    HomeState state;
    std::ifstream in(file, std::ios::binary);
    std::size_t nameSize = 0;
    for (std::size_t size = 0; in >> nameSize >> size && in.get() == '\n';) {
        std::string both(nameSize + size, '\0');
        in.read(both.data(), static_cast<std::streamsize>(both.size()));
        state[both.substr(0, nameSize)] = both.substr(nameSize);
    }
    return state;
}

std::string Between::complaint(const HomeState& found, bool isWhole) const {
    const HomeState& first = isDone ? behind : before;
    if (found == first || found == behind)
        return {};
    HomeState all = found;
    all.insert(first.begin(), first.end());
    all.insert(behind.begin(), behind.end());
    std::string notOld;
    std::string notNew;
    std::set<std::string> left;
    for (const auto& [name, unused] : all) {
        const auto content = contentOf(found, name);
        const auto old = contentOf(first, name);
        const bool isOld = content == old;
        const bool isNew = content == contentOf(behind, name);
        const bool counts = name.starts_with(kRoot) || (isWhole && (isOld || isNew));
        if (counts && !isOld)
            notOld = name;
        if (counts && !isNew)
            notNew = name;
        if (isOld || isNew)
            continue;
        if (!content || old)
            return name + (content ? " is neither old nor new" : " is missing");
        const std::string kind = fs::path(name).extension();
        // Of a file as it was; where a change has been undone, as it was half way.
        const bool isBackup =
            kind == ".bak" && !content->empty() &&
            (isWhole || std::ranges::any_of(before, [&](const auto& entry) { return entry.second == *content; }));
        const bool isHomes = name == "settings.new" || name == "registry/data.new"; // recreated when the home is opened
        const bool isRest = isBackup || isHomes ? mayLeave || !isDone : mayLeave && (kind == ".new" || kind == ".tmp");
        if (!isRest || !left.insert(kind).second)
            return name + " is left, " + std::to_string(content->size()) + " bytes";
    }
    const bool isPart = !inSteps && !notOld.empty() && !notNew.empty();
    return isPart ? notOld + " is new and " + notNew + " is old" : std::string();
}

#include "HomeState.h"

#include "TestKey.h"
#include "Tree.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>

namespace {

namespace fs = std::filesystem;

constexpr const char* kUnreadable = "unreadable";
// Of the privacy database, in which the moment of the write stands.
constexpr std::string_view kDatedFile = "__PRIVACY_DATA_PROTECTION__";
constexpr std::size_t kDateAt = 48;
constexpr std::size_t kDateBytes = 8;

void addKey(HomeState::Contents& values, const std::string& path) {
    const TestKey key = TestKey::open(path.c_str());
    values[path] = key ? "" : kUnreadable;
    std::string data(16 * 1024, '\0');
    for (DWORD index = 0;; ++index) {
        char name[512];
        DWORD length = sizeof name;
        DWORD type = 0;
        auto size = static_cast<DWORD>(data.size());
        if (RegEnumValueA(key.get(), index, name, &length, nullptr, &type, reinterpret_cast<BYTE*>(data.data()),
                          &size) != 0)
            break;
        values[path + "\\" + name] = std::to_string(type) + ":" + data.substr(0, size);
    }
    for (const std::string& name : tree::subkeys(path))
        addKey(values, path + "\\" + name);
}

std::optional<std::string> contentAt(const HomeState::Contents& contents, const std::string& name) {
    const auto found = contents.find(name);
    return found == contents.end() ? std::nullopt : std::optional(found->second);
}

} // namespace

HomeState HomeState::now(const fs::path& home) {
    HomeState state;
    addKey(state.values, "SOFTWARE");
    for (auto entry = fs::recursive_directory_iterator(home); entry != fs::recursive_directory_iterator(); ++entry) {
        const std::string name = entry->path().lexically_relative(home);
        if (name == "objects")
            entry.disable_recursion_pending();
        else if (!entry->is_regular_file() || name.starts_with("registry/"))
            state.files[name];
        else if (std::ifstream file(entry->path(), std::ios::binary); file) {
            std::string& content = state.files[name].assign(std::istreambuf_iterator<char>(file), {});
            if (content.starts_with(kDatedFile))
                content.replace(kDateAt, kDateBytes, kDateBytes, '?');
        } else
            state.files[name] = kUnreadable;
    }
    return state;
}

void HomeState::write(const fs::path& file) const {
    std::ofstream out(file, std::ios::binary);
    for (const Contents* contents : {&values, &files})
        for (const auto& [name, content] : *contents)
            out << (contents == &values) << ' ' << name.size() << ' ' << content.size() << '\n' << name << content;
}

HomeState HomeState::read(const fs::path& file) {
    HomeState state;
    std::ifstream in(file, std::ios::binary);
    bool isValue = false;
    std::size_t nameSize = 0;
    std::size_t size = 0;
    while (in >> isValue >> nameSize >> size && in.get() == '\n') {
        std::string name(nameSize, '\0');
        std::string content(size, '\0');
        in.read(name.data(), static_cast<std::streamsize>(nameSize));
        in.read(content.data(), static_cast<std::streamsize>(size));
        (isValue ? state.values : state.files)[name] = content;
    }
    return state;
}

std::string Between::complaint(const HomeState& found) const {
    const HomeState& first = isDone ? behind : before;
    if (found.values != first.values && found.values != behind.values && !inSteps)
        return "a part of the values";
    std::set<std::string> left;
    for (const auto part : {&HomeState::values, &HomeState::files}) {
        HomeState::Contents all = found.*part;
        for (const HomeState* known : {&first, &behind})
            all.insert((known->*part).begin(), (known->*part).end());
        for (const auto& [name, unused] : all) {
            const auto content = contentAt(found.*part, name);
            const auto old = contentAt(first.*part, name);
            if (content == old || content == contentAt(behind.*part, name))
                continue;
            if (!content)
                return name + " is missing";
            if (old)
                return name + " is neither old nor new";
            const std::string kind = fs::path(name).extension();
            const bool isBackup = kind == ".bak" && std::ranges::any_of(before.files, [&](const auto& file) {
                                      return file.second == *content;
                                  });
            const bool isRest = isBackup ? mayLeave || !isDone : mayLeave && (kind == ".new" || kind == ".tmp");
            if (!isRest || !left.insert(kind).second)
                return name + " is left";
        }
    }
    return {};
}

#include "SavedState.h"

#include "Archive.h"
#include "Digest.h"
#include "Display.h"
#include "Files.h"
#include "Installation.h"
#include "KeyPath.h"
#include "LayDown.h"
#include "LayerError.h"
#include "OneState.h"
#include "Owner.h"
#include "RegTransfer.h"
#include "RegistryKey.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <platform/text.h>
#include <span>
#include <system_error>
#include <thread>

namespace wdlt {
namespace {

constexpr int kBackupFormat = 1;
constexpr const char* kManifestEntry = "manifest.json";
constexpr const char* kTreeEntry = "settings.reg";

/* "files/urls-white" */
std::string entryNameOf(std::string_view what) {
    std::string name = fmt::format("files/{}", what);
    std::ranges::replace(name, ' ', '-');
    return name;
}

std::u16string wideInstallIn(const RegDocument& tree) {
    const RegValue* value = findValue(tree, kBasePath, kInstallValue);
    return value != nullptr ? textOf(value->data) : std::u16string();
}

/* Of the registry and of all files that the tree names. */
std::string marksOf(const RegDocument& tree) {
    std::string marks = std::to_string(registryGeneration());
    for (const auto& [what, file] : filesNamedIn(tree))
        marks += ' ' + fileMark(file.path);
    return marks;
}

/* Whether it is there; a ToolError for what is no file. */
bool isFileThereAt(const std::string& path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found)
        throw ToolError(ExitStatus::Failed, path + ": isn't a file", {.path = path});
    return type == std::filesystem::file_type::regular;
}

/* Nothing when somebody has changed something meanwhile. */
std::optional<SavedState> takeAtOnce() {
    const std::u16string base(kBasePath);
    const RegDocument named = exportSubtree(base);
    const std::string before = marksOf(named);
    // Each read waits until a writer is through that has stored one half, in the tree or in a file, and not the other.
    makeLocksOfLists();
    SavedState taken{
        GetACP(), fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(std::time(nullptr))), exportSubtree(base), {}};
    std::exception_ptr failure;
    try {
        for (const auto& [what, file] : filesNamedIn(named))
            if (isFileThereAt(file.path))
                taken.files.emplace(what, readFile(file.path));
    } catch (const ToolError&) { // it may be gone meanwhile, as the backup of the privacy database is
        failure = std::current_exception();
    }
    if (marksOf(named) != before)
        return std::nullopt;
    if (failure)
        std::rethrow_exception(failure);
    return taken;
}

Json describe(std::span<const ArchiveEntry> entries) {
    Json described = Json::array();
    for (const ArchiveEntry& entry : entries)
        described.push_back(
            {{"name", entry.name}, {"size", entry.content.size()}, {"sha256", hexDigits(sha256(entry.content))}});
    return described;
}

RegDocument treeFrom(const std::string& text) {
    RegDocument tree = parseRegText(text);
    const std::u16string below = std::u16string(kBasePath) + u'\\';
    for (const RegKey& key : tree.keys)
        if (key.isDeletion || std::ranges::any_of(key.values, &RegValue::isDeletion) ||
            (!equalsIgnoringCase(key.path, kBasePath) &&
             !equalsIgnoringCase(std::u16string_view(key.path).substr(0, below.size()), below)))
            throw std::runtime_error("it has settings that aren't this installation's");
    return tree;
}

SavedState stateFrom(std::span<const ArchiveEntry> entries) {
    if (entries.size() < 2 || entries[0].name != kManifestEntry || entries[1].name != kTreeEntry)
        throw std::runtime_error("it has other files");
    const Json manifest = Json::parse(entries[0].content);
    if (manifest.at("format") != kBackupFormat)
        throw std::runtime_error(
            fmt::format("its format is {}, this version has {}", manifest.at("format").dump(), kBackupFormat));
    if (manifest.at("entries") != describe(entries.subspan(1)))
        throw std::runtime_error("its files aren't those that it tells of");
    SavedState state{manifest.at("codePage"), manifest.at("made"), treeFrom(entries[1].content), {}};
    for (const ArchiveEntry& entry : entries.subspan(2)) {
        const auto file = std::ranges::find_if(
            allDataFiles(), [&](const DataFile& each) { return entryNameOf(each.what) == entry.name; });
        if (file == allDataFiles().end() || !state.files.emplace(file->what, entry.content).second)
            throw std::runtime_error("it has a file that no installation has");
    }
    filesNamedIn(state.tree);
    return state;
}

} // namespace

SavedState SavedState::take() {
    constexpr int kAttempts = 20;
    for (int i = 0; i < kAttempts; ++i) {
        if (auto taken = takeAtOnce())
            return std::move(*taken);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw ToolError(ExitStatus::Unknown, "settings and lists are changed all the time: no copy of them fits together");
}

std::string SavedState::pack() const {
    std::vector<ArchiveEntry> entries = {{kManifestEntry, ""}, {kTreeEntry, writeRegText(tree)}};
    for (const auto& [what, content] : files)
        entries.push_back({entryNameOf(what), content});
    const Json manifest = {{"format", kBackupFormat},
                           {"version", WDLT_VERSION},
                           {"made", made},
                           {"codePage", codePage},
                           {"installPath", utf8FromNarrow(installIn(tree))},
                           {"entries", describe(std::span(entries).subspan(1))}};
    entries[0].content = manifest.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    return packArchive(entries);
}

SavedState SavedState::unpack(std::string_view bytes) {
    try {
        return stateFrom(unpackArchive(bytes));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const LayerError&) { // it can't even be looked at
        throw;
    } catch (const DamagedArchive& error) {
        throw ToolError(ExitStatus::Usage, fmt::format("a damaged backup: {}", error.what()));
    } catch (const std::exception& error) {
        throw ToolError(ExitStatus::Usage, fmt::format("not a backup: {}", error.what()));
    }
}

void SavedState::moveTo(const Directories& directories) {
    const std::u16string old = wideInstallIn(tree);
    if (old.empty())
        return directories.setIn(tree);
    for (RegKey& key : tree.keys)
        for (RegValue& each : key.values)
            if (std::u16string text = textOf(each.data);
                each.type == REG_SZ && equalsIgnoringCase(std::u16string_view(text).substr(0, old.size()), old))
                each.data = textData(text.replace(0, old.size(), directories.install));
}

std::string installIn(const RegDocument& tree) {
    std::string narrow;
    narrowFromUtf8(utf8FromUtf16(wideInstallIn(tree)), narrow);
    return narrow;
}

std::map<std::string, NamedFile> filesNamedIn(const RegDocument& tree) {
    const std::string prefix = installIn(tree);
    std::map<std::string, NamedFile> files;
    if (prefix.empty())
        return files;
    const auto folder = std::filesystem::path(pathOf(prefix + "x")).parent_path();
    for (const DataFile& file : allDataFiles()) {
        const RegValue* value =
            findValue(tree, joinPath(kBasePath, utf16FromArgument(file.key)), utf16FromArgument(file.value));
        const std::string narrow = file.narrowNameIn(value);
        const std::string path = pathOf(prefix + narrow);
        const auto name = std::filesystem::path(path).filename();
        if (std::filesystem::path(path).parent_path() != folder || name == "." || name == ".." || name == kOwnerFile)
            throw ToolError(ExitStatus::Usage,
                            fmt::format("{}: not a file of the install directory", displayFile(path)));
        files.emplace(file.what, NamedFile{narrow, path});
    }
    return files;
}

} // namespace wdlt

/* init: sets up a fresh installation: first its directories and privacy database, then the tree, in one transaction.
   Uses the layer, not the library, whose writes need an existing tree. */

#include "ChangeLock.h"
#include "Directory.h"
#include "Display.h"
#include "FreshDatabase.h"
#include "FreshTree.h"
#include "HomeLook.h"
#include "KeyPath.h"
#include "LayerError.h"
#include "RegTransfer.h"
#include "RegistryKey.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <platform/file_content.h>
#include <platform/files.h>
#include <stdexcept>
#include <utility>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr std::u16string_view kPrivacyPath =
    u"SOFTWARE\\Halvermoor\\PLK\\Wardlet\\Scan\\Common\\PrivacyProtection\\config";
constexpr const char* kDefaultInstall = "C:\\Program Files\\Wardlet";

struct InitArguments {
    std::string install = kDefaultInstall;
    bool force = false;
};

RegValue& valueOf(RegDocument& document, std::u16string_view path, std::u16string_view name) {
    for (RegKey& key : document.keys)
        for (RegValue& value : key.values)
            if (value.name == name && equalsIgnoringCase(key.path, path))
                return value;
    throw std::logic_error("the fresh tree lacks a value that init sets");
}

void makeFolder(const std::u16string& path) {
    if (WdMakeFolder(narrowPath(path).c_str()) == FALSE)
        throw LayerError(displayPath(utf8FromUtf16(path)), static_cast<LONG>(GetLastError()));
}

/* The library's writes need an existing database. */
void makeDatabase(const std::u16string& path, bool force) {
    std::string name;
    narrowFromUtf8(utf8FromUtf16(path), name);
    if (!force && GetFileAttributesA(name.c_str()) != INVALID_FILE_ATTRIBUTES)
        throw ToolError(ExitStatus::Failed,
                        fmt::format("{} is there already; --force replaces it", displayPath(utf8FromUtf16(path))));
    const std::string bytes = freshPrivacyDatabase();
    if (WdReplaceContent(name.c_str(), bytes.data(), static_cast<DWORD>(bytes.size())) == FALSE)
        throw LayerError(displayPath(utf8FromUtf16(path)), static_cast<LONG>(GetLastError()));
}

/* Creates the locks that readers of the lists take, by reading each list once. Their files stay, so that a disk that
   fills up later doesn't stop readers. The results of the reads don't matter. */
void makeLocksOfLists() {
    std::int32_t count = 0;
    for (const std::uint32_t list : {WDLT_LIST_WHITE, WDLT_LIST_BLACK}) {
        WdltUrlfReadRecordList(list, nullptr, &count);
        WdltSpyReadRecordList(list, nullptr, &count);
        WdltAspmReadRecordList(list, nullptr, &count);
    }
    WdltHosfReadRecordList(nullptr, &count);
    WdltMahReadRecordList(nullptr, &count);
    WdltPdpReadItemList(nullptr, &count);
    WdltPdpReadExItemList(nullptr, &count);
}

/* Keys without values don't count: merely reading the plug-in manager's switches creates its key. */
bool holdsValues(const std::u16string& path) {
    if (!RegistryKey::openIfThere(path))
        return false;
    bool found = false;
    walkKeys(path, [&](const RegistryKey& key, std::size_t) { found = found || !key.values().empty(); });
    return found;
}

void init(const InitArguments& arguments, const Options& options) {
    const std::u16string install = parseDirectory(arguments.install);
    RegDocument document = parseRegText(kFreshTree);
    const std::pair<std::u16string_view, std::u16string> folders[] = {
        {u"InstallPath", install}, {u"TempPath", install + u"Temp\\"}, {u"LogPath", install + u"Log\\"}};
    for (const auto& [name, path] : folders) {
        narrowPath(path);
        valueOf(document, kBasePath, name).data = textData(path);
    }

    const std::size_t keyCount = document.keys.size();
    std::size_t valueCount = 0;
    for (const RegKey& key : document.keys)
        valueCount += key.values.size();

    std::string home;
    lookAtHome(home, HomeUse::Change);
    const ChangeLock lock;
    const std::u16string base(kBasePath);
    if (arguments.force)
        document.keys.insert(document.keys.begin(), RegKey{base, {}, true});
    else if (holdsValues(base))
        throw ToolError(ExitStatus::Failed, fmt::format("{} is there already; --force replaces it", fullKeyName(base)));
    for (const auto& [name, path] : folders)
        makeFolder(path);
    makeDatabase(install + textOf(valueOf(document, kPrivacyPath, u"DataBaseName").data), arguments.force);
    importDocument(document);
    makeLocksOfLists();

    if (options.json)
        printJson({{"key", fullKeyName(base)},
                   {"keys", keyCount},
                   {"values", valueCount},
                   {"installPath", utf8FromUtf16(install)}});
    else
        fmt::print("{} keys and {} values laid down in {}, installed in {}\n", keyCount, valueCount, fullKeyName(base),
                   displayPath(utf8FromUtf16(install)));
}

} // namespace

void addInit(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("init", "Lay down a fresh installation: directories, settings, privacy database");
    const auto arguments = std::make_shared<InitArguments>();
    verb->add_option("--install", arguments->install, "Install directory, as X:\\... or /...")->capture_default_str();
    verb->add_flag("--force", arguments->force,
                   "Replace the settings and the privacy database that are there, all of them");
    verb->callback([arguments, &options] { init(*arguments, options); });
}

} // namespace wdlt

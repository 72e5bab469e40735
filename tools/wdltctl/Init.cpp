/* init: lays down the tree of a fresh installation, in one transaction. Through the layer, not the library, whose
   writes need a tree that is there. */

#include "Display.h"
#include "FreshTree.h"
#include "KeyPath.h"
#include "RegTransfer.h"
#include "RegistryKey.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

constexpr std::u16string_view kBasePath = u"SOFTWARE\\Halvermoor\\PLK\\Wardlet";
constexpr const char* kDefaultInstall = "C:\\Program Files\\Wardlet";
// The record of the system has 260 bytes a directory.
constexpr std::size_t kMaxDirectoryBytes = 259;

struct Arguments {
    std::string install = kDefaultInstall;
    bool force = false;
};

bool isSeparator(char16_t unit) {
    return unit == u'\\' || unit == u'/';
}

bool isAbsolute(std::u16string_view path) {
    const auto isLetter = [](char16_t unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; };
    const bool hasDrive = path.size() >= 3 && isLetter(path[0]) && path[1] == u':' && isSeparator(path[2]);
    return hasDrive || path.starts_with(u'/');
}

/* With the one backslash at its end that whoever joins a name to it relies on. */
std::u16string parseDirectory(const std::string& argument) {
    std::u16string path = utf16FromArgument(argument);
    if (!isAbsolute(path))
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}: a directory is given in full, as X:\\... or /...", argument));
    while (isSeparator(path.back()) && path.size() > 1)
        path.pop_back();
    path.push_back(u'\\');
    return path;
}

void setText(RegDocument& document, std::u16string_view name, const std::u16string& text) {
    std::string narrow;
    if (!narrowFromUtf8(utf8FromUtf16(text), narrow) || narrow.size() > kMaxDirectoryBytes)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: a directory has at most {} bytes in the system code page",
                                                       utf8FromUtf16(text), kMaxDirectoryBytes));
    for (RegKey& key : document.keys) {
        const auto value =
            std::find_if(key.values.begin(), key.values.end(), [&](const RegValue& each) { return each.name == name; });
        if (equalsIgnoringCase(key.path, kBasePath) && value != key.values.end())
            value->data = textData(text);
    }
}

void init(const Arguments& arguments, const Options& options) {
    const std::u16string install = parseDirectory(arguments.install);
    RegDocument document = parseRegText(kFreshTree);
    setText(document, u"InstallPath", install);
    setText(document, u"TempPath", install + u"Temp\\");
    setText(document, u"LogPath", install + u"Log\\");

    const std::size_t keyCount = document.keys.size();
    std::size_t valueCount = 0;
    for (const RegKey& key : document.keys)
        valueCount += key.values.size();

    const std::u16string base(kBasePath);
    if (arguments.force)
        document.keys.insert(document.keys.begin(), RegKey{base, {}, true});
    else if (RegistryKey::openIfThere(base))
        throw ToolError(ExitStatus::Failure,
                        fmt::format("{} is there already; --force replaces it", fullKeyName(base)));
    importDocument(document);

    if (options.json)
        printJson({{"key", fullKeyName(base)},
                   {"keys", keyCount},
                   {"values", valueCount},
                   {"installPath", utf8FromUtf16(install)}});
    else
        fmt::print("{} keys and {} values laid down in {}, installed in {}\n", keyCount, valueCount, fullKeyName(base),
                   utf8FromUtf16(install));
}

} // namespace

void addInit(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("init", "Lay down the settings of a fresh installation");
    const auto arguments = std::make_shared<Arguments>();
    verb->add_option("--install", arguments->install, "Install directory, as X:\\... or /...")->capture_default_str();
    verb->add_flag("--force", arguments->force, "Replace the settings that are there, all of them");
    verb->callback([arguments, &options] { init(*arguments, options); });
}

} // namespace wdlt

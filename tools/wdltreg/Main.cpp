/* wdltreg: the registry on the command line, for administrators and scripts. Uses only the platform layer, so it can
   also show and repair a tree that the library can't read. */

#include "ChangeLock.h"
#include "Display.h"
#include "Files.h"
#include "HomeLook.h"
#include "KeyPath.h"
#include "LayerError.h"
#include "RegTransfer.h"
#include "RegistryKey.h"
#include "RunTool.h"
#include "Utf.h"
#include "ValueText.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

constexpr const char* kExamples =
    "Keys are HKEY_LOCAL_MACHINE\\..., HKLM\\... or relative to HKEY_LOCAL_MACHINE. A / parts them as well as a \\; in "
    "a "
    "key with a \\ it is part of a name: HKLM\\a/b. The name \"\" is a key's default value.\n"
    "Examples:\n"
    "  wdltreg tree 'SOFTWARE\\Halvermoor'\n"
    "  wdltreg query -r --json SOFTWARE/Halvermoor/PLK/Wardlet/Scan\n"
    "  wdltreg query 'HKLM\\SOFTWARE\\Halvermoor\\PLK\\Wardlet' ProxyPort\n"
    "  wdltreg set 'HKLM\\SOFTWARE\\Halvermoor\\PLK\\Wardlet' ProxyPort dword 6999\n"
    "  wdltreg export -o backup.reg && wdltreg import backup.reg\n"
    "Exit status: 0 done, 1 no such key or value, 2 the words or the input are wrong, 3 it can't be told or isn't "
    "permitted, 5 failed and nothing changed.";

/* Runs `body` when the verb is typed and there is a home. */
template <class Body>
void reads(CLI::App* verb, Body&& body) {
    verb->callback([body = std::forward<Body>(body)] {
        if (std::string path; !lookAtHome(path, HomeUse::Read))
            throw ToolError(ExitStatus::Unknown, "no registry is in " + path);
        body();
    });
}

/* The same, and while nobody else changes settings. The home may have to be made, unless it must be there. */
enum class Home { IsMade, IsThere };
template <class Body>
void changes(CLI::App* verb, Home home, Body&& body) {
    verb->callback([home, body = std::forward<Body>(body)] {
        std::string path;
        if (!lookAtHome(path, HomeUse::Change) && home == Home::IsThere)
            throw ToolError(ExitStatus::Unknown, "no registry is in " + path);
        const ChangeLock lock;
        body();
    });
}

RegistryKey openKey(const std::string& argument, REGSAM access = KEY_READ) {
    const auto path = parseKeyArgument(argument);
    auto key = RegistryKey::openIfThere(path, access);
    if (!key)
        throw ToolError(ExitStatus::No, fmt::format("{}: no such key", fullKeyName(path)));
    return std::move(*key);
}

/* The arguments of all verbs: only one verb runs per process. */
struct Arguments {
    std::string file;
    std::string output{kStandardStream};
    std::string key;
    std::string name;
    std::string type;
    std::string value;
    bool json = false;
    bool recursive = false;
};

void importFile(const Arguments& arguments) {
    const std::string text = readFile(arguments.file);
    RegDocument document;
    try {
        document = parseRegText(text);
    } catch (const RegSyntaxError& error) {
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}:{}:{}: {}", arguments.file, error.line(), error.column(), error.what()));
    }
    importDocument(document);
}

void exportKey(const Arguments& arguments) {
    writeFile(arguments.output, writeRegText(exportSubtree(openKey(arguments.key).path())));
}

void printValues(const RegistryKey& key, std::size_t indent) {
    for (const RegValue& value : key.values())
        fmt::print("{:{}}{} = {} {}\n", "", indent, valueLabel(value), typeName(value.type), valueText(value));
}

Json keyJson(const RegistryKey& key) {
    Json document = {{"key", fullKeyName(key.path())}, {"values", Json::array()}, {"subkeys", Json::array()}};
    for (const RegValue& value : key.values())
        document["values"].push_back(valueJson(value));
    for (const auto& name : key.subkeyNames())
        document["subkeys"].push_back(utf8FromUtf16(name));
    return document;
}

void queryKey(const Arguments& arguments) {
    const RegistryKey key = openKey(arguments.key);
    if (arguments.json) {
        printJson(keyJson(key));
        return;
    }
    printValues(key, 0);
    for (const auto& name : key.subkeyNames())
        fmt::print("[{}]\n", displayText(name));
}

/* Each key in full, so that a line can be found and cut out. */
void queryAllBelow(const Arguments& arguments) {
    Json document = Json::array();
    walkKeys(openKey(arguments.key).path(), [&](const RegistryKey& key, std::size_t) {
        if (arguments.json) {
            document.push_back(keyJson(key));
            return;
        }
        fmt::print("[{}]\n", displayText(joinPath(kRootName, key.path())));
        printValues(key, 0);
    });
    if (arguments.json)
        printJson(document);
}

void queryValue(const Arguments& arguments) {
    const RegistryKey key = openKey(arguments.key);
    const auto value = key.value(utf16FromArgument(arguments.name));
    if (!value)
        throw ToolError(ExitStatus::No, fmt::format("{}: no value \"{}\"", fullKeyName(key.path()), arguments.name));
    if (arguments.json)
        printJson(valueJson(*value));
    else
        fmt::print("{} {}\n", typeName(value->type), valueText(*value));
}

void setValue(const Arguments& arguments) {
    const auto path = parseKeyArgument(arguments.key);
    const auto value = parseValueArguments(utf16FromArgument(arguments.name), arguments.type, arguments.value);
    // In one transaction, so that a refused value doesn't leave a new key.
    importDocument({{RegKey{path, {value}, false}}});
}

void deleteKey(const Arguments& arguments) {
    const auto path = parseKeyArgument(arguments.key);
    if (path.empty())
        throw ToolError(ExitStatus::Usage, "HKEY_LOCAL_MACHINE itself can't be deleted");
    openKey(arguments.key);
    importDocument({{RegKey{path, {}, true}}});
}

void deleteValue(const Arguments& arguments) {
    const RegistryKey key = openKey(arguments.key, KEY_ALL_ACCESS);
    if (!key.deleteValue(utf16FromArgument(arguments.name)))
        throw ToolError(ExitStatus::No, fmt::format("{}: no value \"{}\"", fullKeyName(key.path()), arguments.name));
}

void printTree(const Arguments& arguments) {
    constexpr std::size_t kIndent = 2;
    walkKeys(openKey(arguments.key).path(), [&](const RegistryKey& key, std::size_t depth) {
        const auto& path = key.path();
        const auto name = depth == 0 ? joinPath(kRootName, path) : path.substr(path.rfind(u'\\') + 1);
        fmt::print("{:{}}[{}]\n", "", depth * kIndent, displayText(name));
        printValues(key, (depth + 1) * kIndent);
    });
}

Completions typeWords(const Completed&) {
    return {{"sz"}, {"expand_sz"}, {"multi_sz"}, {"binary"}, {"dword"}, {"qword"}, {"none"}};
}

/* The key of which the typed one is the beginning; its parts by what the user parts them by. */
Completions keyWords(const Completed& completed) {
    const std::string begun(completed.begun);
    const char parting = begun.find('\\') == std::string::npos ? '/' : '\\';
    const std::size_t end = begun.rfind(parting);
    const std::string parent = end == std::string::npos ? "" : begun.substr(0, end + 1);
    Completions words;
    if (std::string path; lookAtHome(path, HomeUse::Read))
        if (const auto key = RegistryKey::openIfThere(parseKeyArgument(parent)))
            for (const auto& name : key->subkeyNames())
                words.push_back({parent + utf8FromUtf16(name) + parting});
    return words;
}

/* Names of the values of the key before. */
Completions valueWords(const Completed& completed) {
    Completions words;
    if (std::string path; lookAtHome(path, HomeUse::Read))
        for (const RegValue& value : openKey(completed.operands.front()).values())
            words.push_back({utf8FromUtf16(value.name), typeName(value.type)});
    return words;
}

Completions wordsOf(const Completed& completed) {
    constexpr PlaceWords kWords[] = {{"KEY", keyWords}, {"NAME", valueWords}, {"TYPE", typeWords}};
    return wordsFrom(kWords, completed);
}

void addVerbs(CLI::App& app, std::string_view) {
    const auto arguments = std::make_shared<Arguments>();
    const auto addKey = [&](CLI::App* verb) { return verb->add_option("KEY", arguments->key, "Key of the registry"); };

    auto* importVerb = app.add_subcommand("import", "Carry out a .reg file, all of it or nothing");
    importVerb->add_option("FILE", arguments->file, "File to read, - for the standard input")->required();
    importVerb->footer("UTF-8 or UTF-16; a file that begins with REGEDIT4 is in the system code page.");
    changes(importVerb, Home::IsMade, [arguments] { importFile(*arguments); });

    auto* exportVerb = app.add_subcommand("export", "Write a key with all below it as .reg text");
    addKey(exportVerb)->default_str("HKEY_LOCAL_MACHINE");
    exportVerb->add_option("-o,--output", arguments->output,
                           "File to write, - for the standard output; it becomes yours alone (0600)");
    reads(exportVerb, [arguments] { exportKey(*arguments); });

    auto* query = app.add_subcommand("query", "Show the values and subkeys of a key, or one value");
    addKey(query)->required();
    auto* queryName = query->add_option("NAME", arguments->name, "Value to show");
    query->add_flag("-r,--recursive", arguments->recursive, "Show all keys below it too")->excludes(queryName);
    app.add_flag("--json", arguments->json, "Print JSON: for query an object, with -r a list of them");
    reads(query, [arguments, queryName] {
        if (queryName->count() > 0)
            queryValue(*arguments);
        else
            arguments->recursive ? queryAllBelow(*arguments) : queryKey(*arguments);
    });

    auto* set = app.add_subcommand("set", "Store a value, with the keys that are missing on its path");
    addKey(set)->required();
    set->add_option("NAME", arguments->name, "Value to store")->required();
    set->add_option("TYPE", arguments->type, "sz, expand_sz, multi_sz, binary, dword, qword or none")->required();
    set->add_option("VALUE", arguments->value,
                    "Text; number, decimal or 0x...; bytes, hexadecimal; texts parted by \\0 for multi_sz")
        ->required();
    changes(set, Home::IsMade, [arguments] { setValue(*arguments); });

    auto* deleteVerb = app.add_subcommand("delete", "Delete a key with all below it, or one value");
    addKey(deleteVerb)->required();
    auto* deleteName = deleteVerb->add_option("NAME", arguments->name, "Value to delete");
    changes(deleteVerb, Home::IsThere,
            [arguments, deleteName] { deleteName->count() > 0 ? deleteValue(*arguments) : deleteKey(*arguments); });

    auto* tree = app.add_subcommand("tree", "Show a key with all below it");
    addKey(tree)->default_str("HKEY_LOCAL_MACHINE");
    reads(tree, [arguments] { printTree(*arguments); });
}

} // namespace
} // namespace wdlt

int main(int argc, char** argv) {
    return wdlt::runTool({"wdltreg", "Reads and changes the registry of the content-scanning service.", wdlt::kExamples,
                          wdlt::addVerbs,
                          /* needsVerb = */ true, wdlt::wordsOf},
                         argc, argv);
}

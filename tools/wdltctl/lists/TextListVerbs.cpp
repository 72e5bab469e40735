/* list, add, remove, import and export of a list of texts. A text file has one entry per line. */

#include "Display.h"
#include "Files.h"
#include "Installation.h"
#include "LibraryStatus.h"
#include "RegText.h"
#include "Suggestion.h"
#include "TextLists.h"
#include "ToolError.h"
#include "Utf.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

struct TextListRequest {
    TextListRequest(const TextList& meant, const Options& common) : list(meant), options(common) {}

    const TextList& list;
    const Options& options;
    std::string typeWord;
    std::vector<std::string> entries;
    std::string file;
    std::string content; /* of the file, in UTF-8 */
    bool allowEmpty = false;
    bool merge = false;
    bool dryRun = false;
    bool force = false;

    std::uint32_t type() const {
        const auto found = std::ranges::find(list.types, typeWord);
        return found == list.types.end() ? 0 : static_cast<std::uint32_t>(found - list.types.begin());
    }
};

std::string nameOfList(const TextList& list, std::uint32_t type) {
    return fmt::format("{} list", list.types.empty() ? list.name : list.types[type]);
}

/* For errors; empty where the list has no file of its own. */
std::string pathOfList(const TextList& list, std::uint32_t type) {
    for (const DataFile& file : allDataFiles())
        if (file.list == list.name && file.type == type)
            return displayFile(Installation::read().pathOf(file));
    return {};
}

Texts readList(const TextListRequest& request) {
    return readTextList(request.list, request.type());
}

void checkCount(const TextListRequest& request, const Texts& texts) {
    if (texts.size() > request.list.mostEntries)
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}: {} records, at most {}", nameOfList(request.list, request.type()),
                                    texts.size(), request.list.mostEntries));
}

void writeList(const TextListRequest& request, const Texts& texts) {
    if (request.list.lookBeforeWrite != nullptr)
        request.list.lookBeforeWrite(request.force);
    checkCount(request, texts);
    writeTextList(request.list, request.type(), texts);
}

void show(const TextListRequest& request) {
    const Texts texts = readList(request);
    if (request.options.json) {
        Json document = Json::array();
        for (const std::string& text : texts)
            document.push_back(utf8FromNarrow(text));
        printJson(document);
        return;
    }
    std::string lines;
    for (const std::string& text : texts)
        lines += displayNarrow(text) + "\n";
    writeFile(std::string(kStandardStream), lines);
}

/* Prints what was done, and the entries that were on the list already or weren't on it: that is no failure. */
void report(const TextListRequest& request, const char* done, std::size_t count, const Texts& others,
            const char* reason) {
    if (request.options.json) {
        Json document = {{done, count}, {reason, Json::array()}};
        for (const std::string& other : others)
            document[reason].push_back(other);
        printJson(document);
        return;
    }
    std::string lines;
    for (const std::string& other : others)
        lines += fmt::format("{}: {}\n", displayText(utf16FromArgument(other)), reason);
    writeFile(std::string(kStandardStream), lines + fmt::format("{} {}\n", count, done));
}

void add(const TextListRequest& request) {
    Texts texts = readList(request);
    const std::size_t before = texts.size();
    Texts known;
    for (const std::string& entry : request.entries) {
        const std::string text = storedText(request.list, entry, request.list.noun);
        if (std::ranges::find(texts, text) != texts.end())
            known.push_back(entry);
        else
            texts.push_back(text);
    }
    if (texts.size() != before)
        writeList(request, texts);
    report(request, "added", texts.size() - before, known, "on the list already");
}

void remove(const TextListRequest& request) {
    Texts texts = readList(request);
    const std::size_t before = texts.size();
    Texts unknown;
    for (const std::string& entry : request.entries)
        if (std::erase(texts, storedText(request.list, entry, request.list.noun)) == 0)
            unknown.push_back(entry);
    if (texts.size() != before)
        writeList(request, texts);
    report(request, "removed", before - texts.size(), unknown, "not on the list");
}

/* A file has one entry on a line, without the blanks around it; empty lines and those that begin with # don't count. A
   backslash takes its meaning from a #, a backslash or a blank at the beginning of an entry, and from a blank at its
   end. */
constexpr std::string_view kBlanks = " \t\r";

bool isBlank(char c) {
    return kBlanks.find(c) != std::string_view::npos;
}

bool isMarked(char first) {
    return first == '#' || first == '\\' || isBlank(first);
}

std::string entryOf(std::string_view line) {
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    if (line.starts_with('#'))
        return {};
    std::string entry;
    if (line.size() > 1 && line.front() == '\\' && isMarked(line[1])) {
        entry = line[1];
        line.remove_prefix(2);
    }
    const std::size_t last = line.find_last_not_of(kBlanks);
    if (last == std::string_view::npos)
        return entry;
    const bool endsInBlank = line[last] == '\\' && last + 1 < line.size();
    entry += line.substr(0, last + (endsInBlank ? 0 : 1));
    return endsInBlank ? entry + line[last + 1] : entry;
}

std::string lineOf(std::string entry) {
    if (entry.size() > 1 && isBlank(entry.back()))
        entry.insert(entry.size() - 1, "\\");
    return isMarked(entry.front()) ? "\\" + entry : entry;
}

std::string textOfFile(const std::string& file) {
    try {
        return utf8FromUtf16(decodeText(readFile(file)));
    } catch (const RegSyntaxError& error) {
        throw ToolError(ExitStatus::Usage, fmt::format("line {}: {}", error.line(), error.what()));
    }
}

struct Imported {
    Texts texts; /* each of them once */
    std::size_t duplicates = 0;
};

/* A line that can't be stored refuses the whole file. */
Imported entriesOf(const TextListRequest& request) {
    const std::string& content = request.content;
    Imported imported;
    std::set<std::string> known;
    std::size_t line = 0;
    for (std::size_t at = 0; at < content.size();) {
        const std::size_t end = std::min(content.find('\n', at), content.size());
        const std::string entry = entryOf(std::string_view(content).substr(at, end - at));
        at = end + 1;
        ++line;
        if (entry.empty())
            continue;
        const std::string text = storedText(request.list, entry, fmt::format("line {}", line));
        if (known.insert(text).second)
            imported.texts.push_back(text);
        else
            ++imported.duplicates;
    }
    return imported;
}

/* Those of `texts` that aren't in `others`. */
Texts without(const Texts& texts, const Texts& others) {
    const std::set<std::string> known(others.begin(), others.end());
    Texts rest;
    std::ranges::copy_if(texts, std::back_inserter(rest),
                         [&](const std::string& text) { return !known.contains(text); });
    return rest;
}

/* What an import replaces. Nothing when that can't be read and is replaced all the same. */
std::optional<Texts> replacedList(const TextListRequest& request) {
    try {
        return readList(request);
    } catch (const ToolError& error) {
        if (request.merge || request.list.force != Force::Replaces)
            throw;
        if (!request.force)
            throw ToolError(error.status(), fmt::format("{}; --force replaces it", error.what()));
        return std::nullopt;
    }
}

void import(const TextListRequest& request) {
    const Imported imported = entriesOf(request);
    if (imported.texts.empty() && !request.allowEmpty && !request.merge)
        throw ToolError(ExitStatus::Usage, "no entry is there; --allow-empty empties the list");
    const std::optional<Texts> replaced = replacedList(request);
    const Texts before = replaced.value_or(Texts());
    const Texts added = without(imported.texts, before);
    Texts texts = imported.texts;
    if (request.merge) {
        texts = before;
        texts.insert(texts.end(), added.begin(), added.end());
    }
    checkCount(request, texts);
    const std::size_t removed = without(before, texts).size();
    if (!request.dryRun && texts != replaced)
        writeList(request, texts);
    if (request.options.json) {
        printJson({{"entries", texts.size()},
                   {"added", added.size()},
                   {"removed", removed},
                   {"duplicates", imported.duplicates},
                   {"stored", !request.dryRun}});
        return;
    }
    fmt::print("{} entries: {} added, {} removed{}{}\n", texts.size(), added.size(), removed,
               imported.duplicates == 0 ? "" : fmt::format(", {} were there twice", imported.duplicates),
               request.dryRun ? "; nothing is stored" : "");
}

void exportTo(const TextListRequest& request) {
    std::string lines;
    for (const std::string& text : readList(request)) {
        if (text.find('\n') != std::string::npos)
            throw ToolError(ExitStatus::Failed,
                            fmt::format("{}: {} has a line's end inside", nameOfList(request.list, request.type()),
                                        displayNarrow(text)));
        if (!isCodePageText(text))
            throw ToolError(ExitStatus::Failed,
                            fmt::format("{}: {} isn't text of the system code page",
                                        nameOfList(request.list, request.type()), displayNarrow(text)));
        lines += lineOf(utf8FromNarrow(text)) + "\n";
    }
    writeFile(request.file, lines);
}

enum class Operand { None, Entries, File };

constexpr struct Verb {
    std::string_view name;
    const char* help; /* followed by what the entries are */
    Operand operand;
    const char* operandHelp;
    Needs needs;
    void (*run)(const TextListRequest& request);
} kListVerbs[] = {
    {"list", "Show", Operand::None, "", Needs::Tree, show},
    {"add", "Add to", Operand::Entries, "What to add", Needs::Files, add},
    {"remove", "Remove from", Operand::Entries, "What to remove, as it stands on the list", Needs::Files, remove},
    {"import", "Replace by the lines of a file:", Operand::File, "The file, - for the standard input", Needs::Files,
     import},
    {"export", "Write to a file, one a line:", Operand::File, "The file, - for the standard output", Needs::Tree,
     exportTo},
};

} // namespace

Texts readTextList(const TextList& list, std::uint32_t type) {
    Texts texts;
    const std::int32_t status = list.read(type, texts);
    if (missingIsEmpty(status) < WDLT_OK)
        checkStatus(status, nameOfList(list, type), pathOfList(list, type));
    return texts;
}

void writeTextList(const TextList& list, std::uint32_t type, const Texts& texts) {
    const std::int32_t status = list.write(type, texts);
    if (status >= WDLT_OK)
        return;
    // Both spam lists are written, one after the other.
    Texts stored;
    if (list.read(type, stored) == WDLT_OK && stored == texts)
        throw ToolError(ExitStatus::Partial,
                        fmt::format("{} is stored, but: {}", nameOfList(list, type), statusText(status)));
    checkStatus(status, nameOfList(list, type), pathOfList(list, type));
}

std::string storedText(const TextList& list, const std::string& typed, const std::string& where) {
    std::string narrow;
    if (!narrowFromUtf8(typed, narrow))
        throw ToolError(ExitStatus::Usage, where + ": not a text of the system code page");
    if (narrow.find('\n') != std::string::npos)
        throw ToolError(ExitStatus::Usage, where + ": a line's end inside");
    std::optional<std::string> stored;
    if (!narrow.empty() && narrow.find('\0') == std::string::npos) {
        if (list.canonical != nullptr)
            stored = list.canonical(narrow);
        else if (narrow.size() <= list.mostBytes)
            stored = narrow;
    }
    if (!stored)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: 1 to {} bytes", where, list.mostBytes));
    return *stored;
}

std::string typeNamed(const TextList& list, const std::string& word) {
    return std::string(findNamed(list.types, word, fmt::format("{} list", list.name), std::identity()));
}

void addTextListVerb(std::string_view name, const TextList& list, CLI::App& verb, const Options& options) {
    const auto* found = std::ranges::find(kListVerbs, name, &Verb::name);
    auto* command = verb.add_subcommand(std::string(list.name), fmt::format("{} {}", found->help, list.help));
    const auto request = std::make_shared<TextListRequest>(list, options);
    if (!list.types.empty())
        command->add_option("LIST", request->typeWord, fmt::format("{}", fmt::join(list.types, " or ")))
            ->required()
            ->transform([&list](const std::string& word) { return typeNamed(list, word); });
    if (found->operand == Operand::Entries)
        command->add_option(list.noun, request->entries, found->operandHelp)->required();
    if (found->operand == Operand::File)
        command->add_option("FILE", request->file, found->operandHelp)->required();
    if (list.force == Force::Loses && found->needs == Needs::Files)
        command->add_flag("--force", request->force, "Go on although the lists' files have lines that are lost by it");
    if (found->run == import) {
        if (list.force == Force::Replaces)
            command->add_flag("--force", request->force, "Replace a list that can't be read, too");
        command->add_flag("--merge", request->merge, "Add the lines to what is there");
        command->add_flag("--allow-empty", request->allowEmpty, "Let a file without an entry empty the list");
        command->add_flag("--dry-run", request->dryRun, "Tell what would change, store nothing");
        command->footer(
            "UTF-8 or UTF-16. Blanks around an entry, empty lines and lines that begin with # don't count; a "
            "backslash before a #, a backslash or a blank at an entry's beginning, or before a blank at its "
            "end, makes it part of the entry, as export writes it.");
    }
    runs(
        *command, found->needs, [request, run = found->run] { run(*request); },
        [request, reads = found->run == import] {
            if (reads)
                request->content = textOfFile(request->file);
        });
}

} // namespace wdlt

/* list, add, remove, import and export of a list of texts. A text file has one entry per line. */

#include "Display.h"
#include "Files.h"
#include "LibraryStatus.h"
#include "TextLists.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

struct TextListRequest {
    const TextList& list;
    const Options& options;
    std::string typeWord;
    std::vector<std::string> entries;
    std::string file;

    std::uint32_t type() const {
        const auto found = std::ranges::find(list.types, typeWord);
        return found == list.types.end() ? 0 : static_cast<std::uint32_t>(found - list.types.begin());
    }
    std::string name() const { return fmt::format("{} list", list.types.empty() ? list.name : typeWord); }
};

Texts readList(const TextListRequest& request) {
    Texts texts;
    const std::int32_t status = request.list.read(request.type(), texts);
    if (status != WDLT_E_FILE_NOT_FOUND)
        checkStatus(status, request.name());
    return texts;
}

void writeList(const TextListRequest& request, const Texts& texts) {
    if (texts.size() > request.list.mostEntries)
        throw ToolError(ExitStatus::Failure, fmt::format("{}: {} records, at most {}", request.name(), texts.size(),
                                                         request.list.mostEntries));
    checkStatus(request.list.write(request.type(), texts), request.name());
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

void add(const TextListRequest& request) {
    Texts texts = readList(request);
    for (const std::string& entry : request.entries) {
        const std::string text = storedText(request.list, entry, request.list.noun);
        if (std::ranges::find(texts, text) != texts.end())
            throw ToolError(ExitStatus::Failure, fmt::format("{} is on the {} already", entry, request.name()));
        texts.push_back(text);
    }
    writeList(request, texts);
}

void remove(const TextListRequest& request) {
    Texts texts = readList(request);
    for (const std::string& entry : request.entries)
        if (std::erase(texts, storedText(request.list, entry, request.list.noun)) == 0)
            throw ToolError(ExitStatus::Failure, fmt::format("{} isn't on the {}", entry, request.name()));
    writeList(request, texts);
}

/* Empty lines are skipped. A line that can't be stored refuses the whole file. */
void import(const TextListRequest& request) {
    const std::string content = readFile(request.file);
    Texts texts;
    std::set<std::string> known;
    std::size_t line = 0;
    for (std::size_t at = 0; at < content.size();) {
        const std::size_t end = std::min(content.find('\n', at), content.size());
        std::string text = content.substr(at, end - at);
        at = end + 1;
        ++line;
        if (text.ends_with('\r'))
            text.pop_back();
        if (text.empty())
            continue;
        texts.push_back(storedText(request.list, text, fmt::format("line {}", line)));
        if (!known.insert(texts.back()).second)
            throw ToolError(ExitStatus::Failure, fmt::format("line {}: {} is there twice", line, text));
    }
    writeList(request, texts);
}

void exportTo(const TextListRequest& request) {
    std::string lines;
    for (const std::string& text : readList(request))
        lines += utf8FromNarrow(text) + "\n";
    writeFile(request.file, lines);
}

enum class Operand { None, Entries, File };

constexpr struct Verb {
    std::string_view name;
    const char* help; /* followed by what the entries are */
    Operand operand;
    const char* operandHelp;
    void (*run)(const TextListRequest& request);
} kListVerbs[] = {
    {"list", "Show", Operand::None, "", show},
    {"add", "Add to", Operand::Entries, "What to add", add},
    {"remove", "Remove from", Operand::Entries, "What to remove, as it stands on the list", remove},
    {"import", "Replace by the lines of a file:", Operand::File, "The file, - for the standard input", import},
    {"export", "Write to a file, one a line:", Operand::File, "The file, - for the standard output", exportTo},
};

} // namespace

std::string storedText(const TextList& list, const std::string& typed, const std::string& where) {
    std::string narrow;
    if (!narrowFromUtf8(typed, narrow))
        throw ToolError(ExitStatus::Usage, where + ": not a text of the system code page");
    const bool isSpecial = list.isSpecial != nullptr && list.isSpecial(narrow);
    if (narrow.empty() || narrow.find('\0') != std::string::npos || (narrow.size() > list.mostBytes && !isSpecial))
        throw ToolError(ExitStatus::Usage, fmt::format("{}: 1 to {} bytes", where, list.mostBytes));
    return narrow;
}

void addTextListVerb(std::string_view name, const TextList& list, CLI::App& verb, const Options& options) {
    const auto* found = std::ranges::find(kListVerbs, name, &Verb::name);
    auto* command = verb.add_subcommand(std::string(list.name), fmt::format("{} {}", found->help, list.help));
    const auto request = std::make_shared<TextListRequest>(TextListRequest{list, options, {}, {}, {}});
    if (!list.types.empty())
        command->add_option("LIST", request->typeWord, fmt::format("{}", fmt::join(list.types, " or ")))
            ->required()
            ->check(CLI::IsMember(std::vector<std::string>(list.types.begin(), list.types.end())));
    if (found->operand == Operand::Entries)
        command->add_option(list.noun, request->entries, found->operandHelp)->required();
    if (found->operand == Operand::File)
        command->add_option("FILE", request->file, found->operandHelp)->required();
    command->callback([request, run = found->run] { run(*request); });
}

} // namespace wdlt

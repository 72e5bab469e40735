/* dump and diff: the whole configuration as one document, and what another one says otherwise. */

#include "ChangeLock.h"
#include "Document.h"
#include "Files.h"
#include "Loading.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

struct DumpArguments {
    std::string file{kStandardStream};
    bool schema = false;
};

void printDocument(const std::string& file, const Json& document) {
    writeFile(file, document.dump(2) + "\n");
}

void dump(const DumpArguments& arguments, const Options& options) {
    if (arguments.schema)
        return printDocument(arguments.file, documentSchema());
    needTree();
    const ChangeLock lock;
    printDocument(arguments.file, documentOf(takeSnapshot(), options.secrets));
}

struct DiffArguments {
    std::string file;
    std::string other;
    std::shared_ptr<const Json> document;
    std::shared_ptr<const Json> otherDocument;
};

/* What a load would change, with all that it brings along. */
std::vector<Change> changesHere(const Json& document) {
    needTree();
    const ChangeLock lock;
    return changesOf(Plan(document, false));
}

std::vector<Change> changesFrom(const Json& first, const Json& second) {
    return changesBetween(wantedOf(first, first), wantedOf(second, first));
}

void diff(const DiffArguments& arguments, const Options& options) {
    const std::vector<Change> changes = arguments.other.empty()
                                            ? changesHere(*arguments.document)
                                            : changesFrom(*arguments.document, *arguments.otherDocument);
    printChanges(changes, options.json, options.secrets);
    if (!changes.empty())
        throw ToolError(ExitStatus::No, fmt::format("{} differ", changes.size()));
}

} // namespace

void addDump(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("dump", "Write the whole configuration as one JSON document");
    const auto arguments = std::make_shared<DumpArguments>();
    verb->add_option("FILE", arguments->file, "Where to; without it, to the standard output");
    verb->add_flag("--schema", arguments->schema, "Write the document's JSON Schema instead; needs no installation");
    verb->footer(
        "Passwords and the texts of privacy items are in it only with --secrets. Two dumps of one state are the "
        "same, and the generation in it changes with whatever it shows.");
    runs(*verb, Needs::Nothing, [arguments, &options] { dump(*arguments, options); });
}

void addDiff(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("diff", "Tell what load FILE would change");
    const auto arguments = std::make_shared<DiffArguments>();
    verb->add_option("FILE", arguments->file, "A document, whole or in part; - for the standard input")->required();
    verb->add_option("OTHER", arguments->other,
                     "Another: then what it says otherwise than FILE; needs no installation");
    verb->footer("Exit status 0 when nothing differs, 1 when something does.");
    runs(
        *verb, Needs::Nothing, [arguments, &options] { diff(*arguments, options); },
        [arguments] {
            arguments->document = std::make_shared<Json>(parseDocument(readFile(arguments->file), arguments->file));
            if (!arguments->other.empty())
                arguments->otherDocument =
                    std::make_shared<Json>(parseDocument(readFile(arguments->other), arguments->other));
        });
}

} // namespace wdlt

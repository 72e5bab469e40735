/* set and reset: change fields of a record, and say what is stored then. */

#include "Directory.h"
#include "Display.h"
#include "Files.h"
#include "FreshValues.h"
#include "KeyPath.h"
#include "LibraryStatus.h"
#include "RecordRequest.h"
#include "RecordWrite.h"
#include "RegistryKey.h"
#include "RunTool.h"
#include "ToolError.h"
#include "Utf.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <optional>
#include <platform/win32.h>
#include <set>
#include <utility>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

/* A record on its way: as it was read, and as it is to be. */
struct RecordChange {
    std::vector<Field> fields; /* those that are meant */
    std::vector<BYTE> before;
    std::vector<BYTE> asked;

    bool means(std::string_view value) const {
        return std::ranges::any_of(fields,
                                   [&](const Field& field) { return field.value != nullptr && value == field.value; });
    }
};

std::string whyOther(const Field& field, const RecordChange& change, std::span<const BYTE> stored, bool showSecrets) {
    const std::string asked = fieldText(field, change.asked, true);
    if (asked == fieldText(field, stored, true))
        return "";
    if (field.isSecret && !showSecrets)
        return ": not what was given";
    return fmt::format(": {} {}", asked.empty() ? "an empty text" : asked,
                       field.isFileName ? "without its folder" : "was asked for");
}

/* The library writes the whole record: what had no value has its default then. */
void tellStoredToo(const RecordKey& key, const std::vector<std::string>& namesBefore, const RecordChange& change) {
    std::string names;
    for (const std::string& name : valueNamesIn(key.path))
        if (std::ranges::find(namesBefore, name) == namesBefore.end() && !change.means(name))
            names.append(names.empty() ? "" : ", ").append(name);
    if (!names.empty())
        printRemark(fmt::format("{}: had no value; stored with the record, as the default", names));
}

bool isPlainFile(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

/* The files of the lists are wherever the install directory is. */
void tellLeftBehind(const Field& field, const RecordChange& change, std::span<const BYTE> stored) {
    const std::string from = fieldText(field, change.before, true);
    const std::string to = fieldText(field, stored, true);
    std::set<std::string> left;
    for (const Settings& settings : kSettings) {
        if (settings.key.find('*') != std::string_view::npos)
            continue;
        for (const Field& each : settings.fields) {
            const auto name = registryText(joinPath(kBasePath, utf16FromArgument(settings.key)), each);
            std::string old;
            std::string now;
            if (name && !name->empty() && narrowFromUtf8(from + *name, old) && narrowFromUtf8(to + *name, now) &&
                isPlainFile(old) && !isPlainFile(now))
                left.insert(*name);
        }
    }
    if (!from.empty() && !left.empty())
        printRemark(fmt::format("{}: left behind in {}: {}", field.member,
                                std::string_view(from).substr(0, from.find_last_not_of('\\') + 1),
                                fmt::join(left, ", ")));
}

void lookBeforeWrite(const Request& request, bool isForced) {
    if (request.record->lookBeforeWrite != nullptr)
        request.record->lookBeforeWrite(isForced);
}

/* Writes, reads back and prints. */
void writeAndShow(const Request& request, RecordChange& change, const Options& options) {
    for (const Field& field : change.fields)
        if (field.member == "installPath")
            refuseOthersInstall(fieldText(field, change.asked, true));
    const RecordKey key = keyOf(*request.record, request.which);
    const auto namesBefore = valueNamesIn(key.path);
    const std::int32_t status = writeRecord(*request.record, request.which, change.asked, change.fields);
    const bool isWhole = status >= WDLT_OK || status == WDLT_E_NO_ANSWER;

    std::vector<BYTE> stored(change.asked.size());
    const std::int32_t unread = request.record->read(request.which, stored);
    if (!isWhole && (unread < WDLT_OK || stored == change.before))
        checkStatus(status);
    if (unread < WDLT_OK)
        throw ToolError(ExitStatus::Partial, "stored, but it can't be read back: " + statusText(unread));
    printFields(change.fields, stored, options,
                [&](const Field& field) { return whyOther(field, change, stored, options.secrets); });
    tellStoredToo(key, namesBefore, change);
    for (const Field& field : change.fields)
        if (field.member == "installPath")
            tellLeftBehind(field, change, stored);
    if (!isWhole)
        throw ToolError(ExitStatus::Partial, "stored in part: " + statusText(status));
    checkStatus(status);
}

struct Assignment {
    const Field* field;
    std::string text;
};

/* A secret may come from a file, so that the command line doesn't hold it. */
std::string secretFrom(const Field& field, const std::string& file) {
    if (file.empty())
        throw ToolError(ExitStatus::Usage, fmt::format("{}: a file's name after the @, or -", field.member));
    std::string secret = readFile(file);
    for (const char end : {'\n', '\r'})
        if (secret.ends_with(end))
            secret.pop_back();
    if (secret.find('\n') != std::string::npos)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: more than one line", field.member));
    if (secret.empty())
        throw ToolError(ExitStatus::Usage, fmt::format("{0}: nothing in {1}; {0}= stores an empty one", field.member,
                                                       file == kStandardStream ? "the standard input" : file));
    return secret;
}

std::string givenText(const Field& field, const std::string& text) {
    if (field.isSecret && text.starts_with('@'))
        return secretFrom(field, text.substr(1));
    return completeText(field, text);
}

std::vector<Assignment> parseAssignments(const Record& record, const std::vector<std::string>& words) {
    std::vector<Assignment> assignments;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos)
            throw ToolError(ExitStatus::Usage, fmt::format("{}: FIELD=VALUE expected", word));
        const Field& field = findField(record, word.substr(0, equals));
        if (std::ranges::find(assignments, &field, &Assignment::field) != assignments.end())
            throw ToolError(ExitStatus::Usage, fmt::format("{}: the field is given twice", field.member));
        assignments.push_back({&field, givenText(field, word.substr(equals + 1))});
    }
    if (assignments.empty())
        throw ToolError(ExitStatus::Usage, fmt::format("{}: FIELD=VALUE is needed", record.name));
    return assignments;
}

struct SetRequest {
    SetRequest(const std::string& recordName, const std::vector<std::string>& rest)
        : request(recordName, rest), assignments(parseAssignments(*request.record, request.words)) {
        // What get shows in place of a secret, given back, leaves it as it is.
        std::erase_if(assignments, [&](const Assignment& each) {
            const bool isHidden = each.field->isSecret && each.text == kHiddenSecret;
            if (isHidden)
                unchanged.push_back(each.field->member);
            return isHidden;
        });
        // Try the values on a blank record first: a usage error comes before any call of the library.
        std::vector<BYTE> trial(request.record->size);
        for (const auto& [field, text] : assignments)
            setField(*field, trial, text);
    }

    Request request;
    std::vector<Assignment> assignments;
    std::vector<std::string_view> unchanged;
};

void set(const SetRequest& wanted, bool isForced, const Options& options) {
    lookBeforeWrite(wanted.request, isForced);
    RecordChange change;
    change.before = change.asked = readRecord(wanted.request);
    for (const auto& [field, text] : wanted.assignments) {
        setField(*field, change.asked, text);
        change.fields.push_back(*field);
    }
    if (change.fields.empty())
        printFields({}, change.before, options);
    else
        writeAndShow(wanted.request, change, options);
    for (const std::string_view member : wanted.unchanged)
        printRemark(fmt::format("{}: unchanged", member));
}

std::vector<Field> fieldsToReset(const Request& request, const Settings& settings) {
    Record record = *request.record;
    record.fields = settings.fields;
    std::vector<Field> fields;
    for (const std::string& word : request.words) {
        fields.push_back(findField(record, word));
        if (isReadOnly(fields.back()) || !fields.back().hasFresh)
            throw ToolError(ExitStatus::Usage,
                            fmt::format("{}: {}", fields.back().member,
                                        isReadOnly(fields.back()) ? "the field is read only"
                                                                  : "a fresh installation has none of its own"));
    }
    // An installation stays where it is unless that is meant.
    if (request.words.empty())
        std::ranges::copy_if(record.fields, std::back_inserter(fields), [](const Field& field) {
            return field.hasFresh && !isReadOnly(field) && (!field.isDirectory || field.freshText.empty());
        });
    return fields;
}

/* The values are laid down first, since the library writes only a record that it can read, and not every text that may
   be fresh; then it writes the record, so that everybody is told. */
void reset(const Request& request, bool isForced, const Options& options) {
    lookBeforeWrite(request, isForced);
    RecordChange change;
    change.before.resize(request.record->size);
    const std::int32_t unread = request.record->read(request.which, change.before);
    const RecordKey key = keyOf(*request.record, request.which);
    change.fields = fieldsToReset(request, key.settings);
    for (const std::string& name : layDownFresh(key, change.fields, unread < WDLT_OK && request.words.empty()))
        printRemark(fmt::format("{}: couldn't be read, and is as in a fresh installation", name));

    change.asked.resize(request.record->size);
    if (const std::int32_t still = request.record->read(request.which, change.asked); still < WDLT_OK)
        throw ToolError(ExitStatus::Partial,
                        fmt::format("reset, but {} can't be read: {}", request.record->name, statusText(still)));
    for (const Field& field : change.fields)
        setField(field, change.asked, freshAsTyped(field));
    try {
        writeAndShow(request, change, options);
    } catch (const ToolError& error) { // the values are laid down all the same
        throw ToolError(error.status() == ExitStatus::Untold ? error.status() : ExitStatus::Partial, error.what(),
                        error.place());
    }
}

struct ChangeWords {
    std::string record;
    std::vector<std::string> rest;
    std::optional<SetRequest> wanted;
    bool isForced = false;
};

void addForce(CLI::App& verb, ChangeWords& arguments) {
    verb.add_flag("--force", arguments.isForced,
                  "For aspm: go on although the spam lists' files have lines that are lost by it");
}

} // namespace

void addSet(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("set", "Change fields of a record: it is read, written once, and read back");
    const auto arguments = std::make_shared<ChangeWords>();
    verb->add_option("RECORD", arguments->record, "Name of the record")->required();
    verb->add_option("FIELD=VALUE", arguments->rest,
                     "Fields with their new values; before them, which of several records")
        ->required();
    verb->footer([] {
        return "A secret is best given as szProxyPassword=@FILE, or =@- for the standard input; its line end is cut\n"
               "off. A secret that begins with @ is given so too. (secret) leaves it as it is.\n" +
               recordHelp(true);
    });
    addForce(*verb, *arguments);
    // The standard input may keep one waiting: it is read before the lock is taken.
    verb->parse_complete_callback([arguments] { arguments->wanted.emplace(arguments->record, arguments->rest); });
    runs(*verb, Needs::Change, [arguments, &options] { set(*arguments->wanted, arguments->isForced, options); });
}

void addReset(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("reset", "Set a record, or fields of it, to what a fresh installation has");
    const auto arguments = std::make_shared<ChangeWords>();
    verb->add_option("RECORD", arguments->record, "Name of the record, which may be one that can't be read")
        ->required();
    verb->add_option("FIELD", arguments->rest,
                     "Names of fields, else all but the directories of system; before them, which of several records");
    addForce(*verb, *arguments);
    verb->footer("get --help lists the records, their fields and the fresh values.");
    runs(*verb, Needs::Change, [arguments, &options] {
        reset({arguments->record, arguments->rest}, arguments->isForced, options);
    });
}

} // namespace wdlt

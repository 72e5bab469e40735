#include "Journal.h"

#include "Apply.h"
#include "Changes.h"
#include "Document.h"
#include "Files.h"
#include "Installation.h"
#include "LayerError.h"
#include "RunTool.h"
#include "ToolError.h"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <platform/file_content.h>
#include <platform/win32.h>

namespace wdlt {
namespace {

constexpr int kJournalFormat = 1;

std::int64_t secondsOf(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return now.tv_sec;
}

std::string bootName() {
    std::string name = readFile("/proc/sys/kernel/random/boot_id");
    name.erase(std::min(name.find('\n'), name.size()));
    return name;
}

void store(const std::string& file, const std::string& content) {
    if (WdReplaceContent(file.c_str(), content.data(), static_cast<DWORD>(content.size())) == FALSE)
        throw LayerError(file, static_cast<LONG>(GetLastError()));
}

std::string notePath() {
    return homePath() + "/load.note";
}

bool isSwitch(const DocumentPath& part) {
    return part.front() == "features" || part == kHandlerPath;
}

/* Part of the state at each place where the load has changed something. Of a load that waits, what has been changed since
   stays; one that was cut off may have left anything there, and in the switches. */
Wanted whatGoesBack(const Journal& journal, const Json& now, std::vector<std::string>& stays) {
    Wanted wanted{now, {}};
    const auto goesBack = [&](const DocumentPath& path, const Json* before) {
        put(wanted.state, path, before);
        for (const Part* part : allParts())
            if (std::ranges::equal(part->path(), std::span(path).first(std::min(part->path().size(), path.size()))) &&
                std::ranges::find(wanted.parts, part) == wanted.parts.end()) {
                wanted.parts.push_back(part);
                if (part->isStoredTwice())
                    wanted.anew.push_back(part);
            }
    };
    for (const Change& change : changesBetween(journal.before, journal.after)) {
        const Json* const found = at(now, change.path);
        const Json current = found == nullptr ? Json() : *found;
        if (journal.due && isSame(current, change.from))
            continue;
        if (journal.due && !isSame(current, change.to))
            stays.push_back(pathText(change.path));
        else
            goesBack(change.path, change.from.is_null() ? nullptr : &change.from);
    }
    // What goes back may switch others, which are as they are now, or as they were.
    for (const DocumentPath& path : journal.parts)
        if (const Json* const state =
                !path.empty() && isSwitch(path) ? at(journal.due ? wanted.state : journal.before, path) : nullptr) {
            const Json copy = *state;
            goesBack(path, &copy);
        }
    return wanted;
}

Wanted whatWasThere(const Journal& journal) {
    Wanted wanted{journal.before, {}};
    for (const Part* part : allParts())
        if (std::ranges::find(journal.parts, part->path()) != journal.parts.end())
            wanted.parts.push_back(part);
    return wanted;
}

} // namespace

DueTime DueTime::in(std::uint64_t seconds) {
    DueTime due;
    due.m_clock = secondsOf(CLOCK_REALTIME) + static_cast<std::int64_t>(seconds);
    due.m_running = secondsOf(CLOCK_BOOTTIME) + static_cast<std::int64_t>(seconds);
    due.m_boot = bootName();
    return due;
}

DueTime::DueTime(const Json& stored)
    : m_clock(stored.at("clock").get<std::int64_t>()), m_running(stored.at("running").get<std::int64_t>()),
      m_boot(stored.at("boot").get<std::string>()) {}

std::int64_t DueTime::secondsLeft() const {
    return bootName() == m_boot ? m_running - secondsOf(CLOCK_BOOTTIME) : m_clock - secondsOf(CLOCK_REALTIME);
}

Json DueTime::stored() const {
    return {{"clock", m_clock}, {"running", m_running}, {"boot", m_boot}};
}

std::string Journal::path() {
    return homePath() + "/load.json";
}

bool Journal::isThere() {
    return wdlt::isThere(path());
}

std::optional<Journal> Journal::read() {
    if (!isThere())
        return std::nullopt;
    if (!isRegularFile(path()))
        throw ToolError(ExitStatus::Unknown, path() + ": not a load's journal; wdltctl confirm --force gives it up",
                        {.path = path()});
    try {
        const Json stored = parseDocument(readFile(path()), path());
        if (stored.at("journal") != kJournalFormat)
            throw ToolError(ExitStatus::Unknown, path() + ": a newer version's", {.path = path()});
        Journal journal{
            stored.at("before"), stored.at("after"), stored.at("parts").get<std::vector<DocumentPath>>(), {}};
        for (const Json* const state : {&journal.before, &journal.after})
            for (const char* const section : {"records", "features", "lists"})
                if (!state->value(section, Json::object()).is_object())
                    throw ToolError(ExitStatus::Usage, "no state");
        if (!stored.at("due").is_null())
            journal.due = DueTime(stored.at("due"));
        journal.by = stored.value("by", "");
        return journal;
    } catch (const Json::exception&) {
    } catch (const ToolError& error) {
        if (error.status() != ExitStatus::Usage)
            throw;
    }
    throw ToolError(ExitStatus::Unknown, path() + ": not a load's journal; wdltctl confirm --force gives it up",
                    {.path = path()});
}

void Journal::write() const {
    const Json stored = {{"journal", kJournalFormat},           {"before", before}, {"after", after}, {"parts", parts},
                         {"due", due ? due->stored() : Json()}, {"by", by}};
    store(path(), stored.dump());
}

void Journal::remove() {
    removeFile(path());
}

void undoAbandonedLoad(const std::function<void(const std::string& text)>& tell) {
    const std::optional<Journal> journal = Journal::read();
    if (!journal || (journal->due && !journal->due->isOver()))
        return;
    std::vector<std::string> stays;
    Wanted wanted = whatWasThere(*journal);
    try {
        wanted = whatGoesBack(*journal, takeSnapshot(wanted.parts).state, stays);
    } catch (const ToolError&) { // a load that was cut off may have left a state that can't be read
        if (journal->due)
            throw;
    } catch (const Json::exception&) {
        throw ToolError(ExitStatus::Unknown,
                        Journal::path() + ": not a state of this version's; wdltctl confirm --force "
                                          "gives it up",
                        {.path = Journal::path()});
    }
    const Applied applied = apply(wanted, Json::object(), true);
    const char* const what =
        journal->due ? "a load that nobody has confirmed in time" : "a load that was cut off half way";
    if (!applied.failures.empty())
        throw ToolError(ExitStatus::Failed, fmt::format("{} can't be undone: {}; wdltctl confirm --force leaves it",
                                                        what, fmt::join(applied.failures, "; ")));
    std::string text = fmt::format("{} is undone", what);
    if (!stays.empty())
        text += fmt::format("; changed since by others, so it stays: {}", fmt::join(stays, ", "));
    if (!applied.untold.empty())
        text += fmt::format("; stored, but the service wasn't told: {}", fmt::join(applied.untold, ", "));
    tell(text);
    Journal::remove();
}

void leaveNote(const std::string& text) {
    store(notePath(), text);
}

bool isNoteThere() {
    return isThere(notePath());
}

std::string takeNote() {
    std::string text = isNoteThere() ? readFile(notePath()) : "";
    removeFile(notePath());
    return text;
}

} // namespace wdlt

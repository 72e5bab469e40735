#include "Journal.h"

#include "Apply.h"
#include "Changes.h"
#include "Document.h"
#include "Files.h"
#include "RunTool.h"
#include "ToolError.h"

#include <algorithm>
#include <array>
#include <climits>
#include <ctime>
#include <filesystem>
#include <fmt/format.h>
#include <platform/home.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

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

/* What a killed writer of the journal leaves, which has the secrets too. */
void removeLeftOver() {
    const std::filesystem::path journal = Journal::path();
    std::error_code failure;
    for (const auto& each : std::filesystem::directory_iterator(journal.parent_path(), failure))
        if (each.path().filename().string().starts_with(journal.filename().string() + "."))
            std::filesystem::remove(each.path(), failure);
}

/* Part of the state at each place where the load has changed something: goes back unless it has been changed since. */
Wanted whatGoesBack(const Journal& journal, const Json& now, std::vector<std::string>& stays) {
    Wanted wanted{now, {}};
    for (const Change& change : changesBetween(journal.before, journal.after)) {
        const Json* const found = at(now, change.path);
        const Json current = found == nullptr ? Json() : *found;
        if (isSame(current, change.from))
            continue;
        if (!isSame(current, change.to)) {
            stays.push_back(pathText(change.path));
            continue;
        }
        put(wanted.state, change.path, change.from.is_null() ? nullptr : &change.from);
        for (const Part* part : allParts())
            if (std::ranges::equal(part->path(),
                                   std::span(change.path).first(std::min(part->path().size(), change.path.size()))) &&
                std::ranges::find(wanted.parts, part) == wanted.parts.end())
                wanted.parts.push_back(part);
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
    return ::access(path().c_str(), F_OK) == 0;
}

std::optional<Journal> Journal::read() {
    struct stat status {};
    if (::lstat(path().c_str(), &status) != 0)
        return std::nullopt;
    if (!S_ISREG(status.st_mode))
        throw ToolError(ExitStatus::Unknown, path() + ": not a load's journal", {.path = path()});
    const Json stored = parseDocument(readFile(path()), path());
    try {
        if (stored.at("journal") != kJournalFormat)
            throw ToolError(ExitStatus::Unknown, path() + ": a newer version's", {.path = path()});
        Journal journal{
            stored.at("before"), stored.at("after"), stored.at("parts").get<std::vector<DocumentPath>>(), {}};
        if (!stored.at("due").is_null())
            journal.due = DueTime(stored.at("due"));
        return journal;
    } catch (const Json::exception&) {
        throw ToolError(ExitStatus::Unknown,
                        path() + ": not a load's journal; it is safe to remove it if you know what "
                                 "was to be undone",
                        {.path = path()});
    }
}

void Journal::write() const {
    const Json stored = {{"journal", kJournalFormat},
                         {"before", before},
                         {"after", after},
                         {"parts", parts},
                         {"due", due ? due->stored() : Json()}};
    removeLeftOver();
    writeFile(path(), stored.dump());
    // Who may write the home may have to undo it.
    struct stat home {};
    const std::string directory = path().substr(0, path().rfind('/'));
    if (::stat(directory.c_str(), &home) != 0 || ((home.st_mode & S_ISGID) != 0 && ::chmod(path().c_str(), 0660) != 0))
        throw ToolError(ExitStatus::Failed, path() + ": its rights can't be set", {.path = path()});
}

void Journal::remove() {
    removeLeftOver();
    removeFile(path());
}

void undoAbandonedLoad(const std::function<void(const std::string& text)>& tell) {
    const std::optional<Journal> journal = Journal::read();
    if (!journal || (journal->due && !journal->due->isOver()))
        return;
    const Wanted was = whatWasThere(*journal);
    std::vector<std::string> stays;
    const Json now = journal->due ? takeSnapshot(was.parts).state : Json::object();
    const Applied applied = apply(journal->due ? whatGoesBack(*journal, now, stays) : was, now, true);
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

namespace {

std::string notePath() {
    return homePath() + "/load.note";
}

} // namespace

void leaveNote(const std::string& text) {
    writeFile(notePath(), text);
}

bool isNoteThere() {
    return ::access(notePath().c_str(), F_OK) == 0;
}

std::string takeNote() {
    std::string text = isNoteThere() ? readFile(notePath()) : "";
    removeFile(notePath());
    return text;
}

} // namespace wdlt

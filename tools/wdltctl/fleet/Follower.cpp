#include "Follower.h"

#include "Document.h"
#include "Files.h"
#include "Installation.h"
#include "ToolError.h"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <platform/file_content.h>
#include <poll.h>
#include <random>
#include <utility>

namespace wdlt {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestWait = 5s;       // for what the file system doesn't tell
constexpr auto kBeforeLook = 100ms;     // a program's other changes come along
constexpr auto kBetweenPutBacks = 1s;   // of what somebody else changes again and again
constexpr auto kWhileAnotherWaits = 1s; // to be confirmed changes no mark
constexpr auto kNext = std::chrono::steady_clock::time_point::min();

std::chrono::milliseconds randomUpTo(std::chrono::milliseconds most) {
    static std::minstd_rand random{std::random_device{}()};
    return std::chrono::milliseconds(
        std::uniform_int_distribution<std::chrono::milliseconds::rep>(0, most.count())(random));
}

/* Twice as long each time; half of it more or less, lest machines that failed together come again together. */
std::chrono::milliseconds backOff(unsigned attempts, std::chrono::seconds first, std::chrono::seconds most) {
    constexpr unsigned kDoublings = 10;
    const std::chrono::milliseconds whole = std::min(first * (1U << std::min(attempts, kDoublings)), most);
    return whole / 2 + randomUpTo(whole);
}

std::vector<std::string> prefixed(const std::string& prefix, const Member& member) {
    std::vector<std::string> keys = documentKeys(member);
    for (std::string& key : keys)
        key.insert(0, prefix);
    return keys;
}

/* Which documents the installation was in step with last: after a restart, what differs from those is drift. */
std::string rememberedFile() {
    return homePath() + "/follow.state";
}

std::string readRemembered() {
    return isThere(rememberedFile()) ? readFile(rememberedFile()) : "";
}

/* Empty where they can't be told: the look tells why. */
std::string marksNow() {
    try {
        return changeMarks();
    } catch (const ToolError&) {
        return {};
    }
}

std::unique_ptr<FileNotice> noticeNow() {
    try {
        return std::make_unique<FileNotice>();
    } catch (const ToolError&) {
        return nullptr;
    }
}

std::vector<std::string> pathsOf(const std::vector<Change>& changes) {
    std::vector<std::string> paths;
    std::ranges::transform(changes, std::back_inserter(paths), [](const Change& each) { return pathText(each.path); });
    return paths;
}

} // namespace

Follower::Follower(const EtcdStore& store, const EtcdAccess& access, Member member, const FollowRules& rules, Tell tell)
    : m_prefix(store.prefix), m_member(std::move(member)), m_keys(prefixed(m_prefix, m_member)), m_rules(rules),
      m_tell(std::move(tell)), m_store(store, access), m_home(homePath()), m_remembered(readRemembered()),
      m_applied(m_remembered) {
    m_report.machine = m_member.machine;
    m_report.groups = m_member.groups;
    m_report.applied = newestIn(m_applied);
    if (const auto left = unconfirmedFor()) { // an earlier process's: confirmed once the store answers
        m_undoneAt = Clock::now() + *left + 1s;
        lookBy(*m_undoneAt);
    }
}

void Follower::run(int ending) {
    pollfd ended{ending, POLLIN, 0};
    while (::poll(&ended, 1, 0) == 0) {
        if (Clock::now() >= (m_isConnected ? m_fetchAt : m_nextTry))
            ask(&Follower::fetch);
        if (Clock::now() >= m_lookAt)
            look();
        if (m_isConnected)
            ask(&Follower::tellStore);
        wait(ending);
        noticeChanges();
    }
}

const Report& Follower::runOnce() {
    m_isConnected = true; // as far as it goes: no watch is needed
    fetch();
    look();
    tellStore();
    return m_report;
}

void Follower::ask(void (Follower::*step)()) {
    try {
        (this->*step)();
    } catch (const StoreAway& error) {
        away(error.what());
    } catch (const StoreRefused& error) {
        away(error.what());
    }
}

void Follower::fetch() {
    m_fetchAt = Clock::time_point::max();
    const Found found = m_store.get(m_keys);
    if (!m_isConnected) {
        m_store.watch(m_keys, found.revision + 1);
        m_renewAt = kNext;
        m_connectedAt = Clock::now();
    }
    m_isConnected = true;
    if (m_stamp != stampOf(found))
        take(found);
}

void Follower::away(const std::string& why) {
    constexpr auto kFirst = 1s;
    constexpr auto kMost = 60s;
    m_isConnected = false;
    if (!std::exchange(m_isToldAway, true))
        m_tell("store away", why, {});
    m_nextTry = Clock::now() + backOff(m_attempts++, kFirst, kMost);
}

/* Without a lease that lives it tells all anew. Only what the store has heard of is confirmed. */
void Follower::tellStore() {
    const bool isDue = Clock::now() >= m_renewAt;
    if (m_lease != 0 && isDue && !m_store.keepAlive(m_lease))
        m_lease = 0;
    if (m_lease == 0) {
        m_lease = m_store.grantLease(m_rules.lease);
        m_told.reset();
    }
    if (isDue)
        m_renewAt = Clock::now() + m_rules.lease / 3;
    if (m_told != m_report && !m_store.put(m_prefix + statusKey(m_member.machine), reportText(m_report), m_lease)) {
        m_lease = 0;
        m_renewAt = kNext;
        return;
    }
    m_told = m_report;
    if (std::exchange(m_isToldAway, false))
        m_tell("store back", "", {});
    if (hasSettled())
        m_attempts = 0;
    if (m_undoneAt)
        confirm();
}

void Follower::wait(int ending) {
    auto until = std::min(Clock::now() + kLongestWait, m_lookAt);
    until = std::min(until, m_isConnected ? std::min(m_renewAt, m_fetchAt) : m_nextTry);
    if (m_isConnected && m_told != m_report)
        until = kNext;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::min(until, Clock::now()));
    std::vector<int> others = {ending};
    if (m_notice != nullptr && m_notice->descriptor() >= 0)
        others.push_back(m_notice->descriptor());
    switch (m_store.wait(others, left)) {
    case Etcd::News::Changed:
        m_fetchAt = std::min(m_fetchAt, Clock::now() + randomUpTo(m_rules.spread));
        break;
    case Etcd::News::Compacted:
        m_isConnected = false; // no watch is left
        if (hasSettled())
            break;
        [[fallthrough]];
    case Etcd::News::Lost:
        away(m_store.why());
        break;
    default:
        break;
    }
}

/* A watch that ends as soon as it is there is no answer: the next attempt waits longer. */
bool Follower::hasSettled() const {
    constexpr auto kAfter = 2s;
    return Clock::now() - m_connectedAt >= kAfter;
}

void Follower::take(const Found& found) {
    m_stamp = stampOf(found);
    m_report.revision = newestOf(found);
    m_holds = 0;
    m_holdUntil = {};
    try {
        m_desired = Desired(m_prefix, found);
    } catch (const ToolError& error) {
        m_desired = {};
        m_lookAt = m_undoneAt.value_or(Clock::time_point::max());
        return fail("refused", error.what());
    }
    if (m_desired.isEmpty()) {
        m_report.applied = 0; // all that is asked for
        return setState("nothing asked", "");
    }
    m_lookAt = kNext;
}

void Follower::look() {
    m_lookAt = Clock::time_point::max();
    const bool isOver = m_undoneAt && Clock::now() >= *m_undoneAt;
    if (m_undoneAt && !isOver)
        lookBy(*m_undoneAt);
    if (m_desired.isEmpty() && !isOver)
        return;
    if (isOver) {
        m_undoneAt.reset();
        holdOff();
    }
    const bool isHeld = Clock::now() < m_holdUntil;
    if (isHeld)
        lookBy(m_holdUntil);
    m_marks = marksNow(); // what changes behind them is looked at next time
    m_notice = noticeNow();
    const bool isNew = m_applied != m_stamp;
    const bool putsBack = m_rules.putsBack && Clock::now() >= m_nextPutBack;
    const Outcome outcome = bringInStep(m_desired, {.mayStore = !isHeld && (isNew || putsBack),
                                                    .isHeard = m_isConnected,
                                                    .isNew = isNew || m_report.generation.empty(),
                                                    .confirmWithin = m_rules.confirmWithin});
    if (isOver && (m_desired.isEmpty() || outcome.step == Step::Drift)) {
        m_applied.clear();
        fail("undone", fmt::format("the store couldn't be told within {} s", m_rules.confirmWithin));
    }
    if (!m_desired.isEmpty())
        note(outcome);
}

void Follower::note(const Outcome& outcome) {
    switch (outcome.step) {
    case Step::Ok:
        return noteStored(outcome);
    case Step::Drift:
        return noteDrift(outcome);
    case Step::Waiting:
        lookBy(Clock::now() + kWhileAnotherWaits);
        if (m_report.state != "waiting")
            m_tell("waiting", outcome.remark, outcome.changes);
        return setState("waiting", outcome.remark);
    case Step::Refused:
        return fail("refused", outcome.remark);
    case Step::Failed:
        holdOff();
        return fail("failed", outcome.remark);
    }
}

void Follower::noteStored(const Outcome& outcome) {
    const std::string words = fmt::format("revision {}", m_report.revision);
    if (m_applied != m_stamp) {
        m_report.drift.clear();
        m_tell(outcome.changes.empty() ? "in step" : "applied", words, outcome.changes);
    } else if (!outcome.changes.empty()) {
        m_report.drift = pathsOf(outcome.changes);
        ++m_report.putBack;
        m_nextPutBack = Clock::now() + kBetweenPutBacks;
        m_tell("put back", words, outcome.changes);
    } else if (m_report.state == "drift") {
        m_report.drift.clear();
    }
    m_holds = 0;
    m_holdUntil = {};
    m_report.applied = m_report.revision;
    if (!outcome.generation.empty())
        m_report.generation = outcome.generation;
    if (!outcome.undoneIn) {
        m_undoneAt.reset();
    } else if (!m_undoneAt) {
        m_told.reset(); // it must hear of this, even if it were the same
        m_undoneAt = Clock::now() + *outcome.undoneIn + 1s;
        lookBy(*m_undoneAt);
    }
    m_applied = *m_stamp;
    if (!m_undoneAt)
        remember();
    if (m_report.state != "ok" || !outcome.changes.empty())
        setState("ok", outcome.remark);
}

/* What isn't stored yet because of an earlier failure is no drift. */
void Follower::noteDrift(const Outcome& outcome) {
    if (m_applied != m_stamp)
        return;
    std::vector<std::string> paths = pathsOf(outcome.changes);
    if (m_report.state != "drift" || m_report.drift != paths)
        m_tell("drift", "", outcome.changes);
    m_report.drift = std::move(paths);
    if (m_rules.putsBack)
        lookBy(std::max(m_nextPutBack, m_holdUntil));
    setState("drift", outcome.remark);
}

void Follower::fail(const char* state, const std::string& reason) {
    if (m_report.state != state || m_report.reason != reason) {
        ++m_report.failures;
        m_tell(state, reason, {});
    }
    setState(state, reason);
}

void Follower::holdOff() {
    constexpr auto kFirst = 60s;
    constexpr auto kMost = 3600s;
    m_holdUntil = Clock::now() + backOff(m_holds++, kFirst, kMost);
    lookBy(m_holdUntil);
}

void Follower::confirm() {
    m_undoneAt.reset();
    try {
        if (keep()) {
            remember();
            m_tell("confirmed", "", {});
        } else { // the look tells whether it is there
            m_applied.clear();
            lookBy(kNext);
        }
    } catch (const ToolError& error) {
        m_applied.clear();
        holdOff();
        fail("undone", error.what());
    }
}

/* Without it, what differs after a restart is put back, whatever the rule says: no reason to fail. */
void Follower::remember() {
    if (m_remembered != m_applied &&
        WdReplaceContent(rememberedFile().c_str(), m_applied.data(), static_cast<DWORD>(m_applied.size())) != FALSE)
        m_remembered = m_applied;
}

void Follower::setState(const char* state, const std::string& reason) {
    if (m_report.state != state)
        m_report.since = std::time(nullptr);
    m_report.state = state;
    m_report.reason = reason;
}

void Follower::lookBy(Clock::time_point time) {
    m_lookAt = std::min(m_lookAt, time);
}

void Follower::noticeChanges() {
    // Whatever is open is in the old one.
    if (!m_home.isSame())
        throw ToolError(ExitStatus::Unknown, fmt::format("{}: the home, or what is in it, was replaced", homePath()));
    if (m_desired.isEmpty())
        return;
    if (m_notice != nullptr)
        m_notice->drain();
    if (m_marks != marksNow())
        lookBy(Clock::now() + kBeforeLook);
}

} // namespace wdlt

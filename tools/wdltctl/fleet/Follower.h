/* Keeps this installation in step with what a fleet's store asks of the machine, for as long as the process runs. While
   the store is away, what it asked for last goes on to hold. */
#pragma once

#include "Desired.h"
#include "Etcd.h"
#include "FileNotice.h"
#include "HomeLook.h"
#include "InStep.h"
#include "Report.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace wdlt {

struct FollowRules {
    bool putsBack = true;             /* what others have changed of what is asked; otherwise that is told alone */
    std::uint64_t confirmWithin = 60; /* seconds in which the store must hear of a change, or it is undone; 0: never */
    std::chrono::seconds spread{0};   /* a change waits a random part of it, lest all machines come at once */
    std::chrono::seconds lease{60};   /* so long the store remembers a machine that tells it nothing */
};

class Follower {
  public:
    /* Gets what happens, in words, with the changes where there are some. */
    using Tell = std::function<void(const char* event, const std::string& words, const std::vector<Change>& changes)>;

    Follower(const EtcdStore& store, const EtcdAccess& access, Member member, const FollowRules& rules, Tell tell);

    /* Until `ending` is readable. */
    void run(int ending);
    /* One round. StoreAway or StoreRefused where that is so. */
    const Report& runOnce();

  private:
    using Clock = std::chrono::steady_clock;

    /* A step that asks the store, which may be away. */
    void ask(void (Follower::*step)());
    void fetch();
    void away(const std::string& why);
    void tellStore();
    bool hasSettled() const;
    void wait(int ending);

    void take(const Found& found);
    void look();
    void note(const Outcome& outcome);
    void noteStored(const Outcome& outcome);
    void noteDrift(const Outcome& outcome);
    void fail(const char* state, const std::string& reason);
    void holdOff();
    void confirm();
    void remember();
    void setState(const char* state, const std::string& reason);
    void lookBy(Clock::time_point time);
    void noticeChanges();

    const std::string m_prefix;
    const Member m_member;
    const std::vector<std::string> m_keys;
    const FollowRules m_rules;
    const Tell m_tell;

    Etcd m_store;
    bool m_isConnected = false; /* as far as is known; a watch is there */
    bool m_isToldAway = false;
    Clock::time_point m_connectedAt{};
    Clock::time_point m_fetchAt = Clock::time_point::max(); /* something has changed */
    unsigned m_attempts = 0;                                /* since it answered last */
    Clock::time_point m_nextTry{};
    std::int64_t m_lease = 0;
    Clock::time_point m_renewAt{};
    std::optional<Report> m_told;

    std::optional<std::string> m_stamp; /* of the documents; none where they were never read */
    Desired m_desired;
    const HomeIdentity m_home;
    std::string m_remembered; /* the stamp of those that the installation was last in step with, on disk */
    std::string m_applied;    /* likewise, whether or not that is confirmed: what differs from it is drift */

    Report m_report;
    std::string m_marks; /* of the state that was looked at last */
    std::unique_ptr<FileNotice> m_notice;
    Clock::time_point m_lookAt = Clock::time_point::max();
    unsigned m_holds = 0;            /* in a row */
    Clock::time_point m_holdUntil{}; /* nothing is stored before */
    Clock::time_point m_nextPutBack{};
    std::optional<Clock::time_point> m_undoneAt; /* then, unless the store has heard of what is stored */
};

} // namespace wdlt

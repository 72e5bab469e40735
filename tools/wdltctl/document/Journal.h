/* The journal of a load, a file in the home. It is there while a load is at work, so that one that was killed is undone,
   and as long as a load waits for its confirmation. It has the secrets: its rights are those of the home. Whoever uses
   it holds the change lock. */
#pragma once

#include "Part.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace wdlt {

/* A moment that the machine's clock can't move while the machine runs. */
class DueTime {
  public:
    static DueTime in(std::uint64_t seconds);
    explicit DueTime(const Json& stored);

    bool isOver() const { return secondsLeft() <= 0; }
    std::int64_t secondsLeft() const;
    Json stored() const;

  private:
    DueTime() = default;

    std::int64_t m_clock = 0;   /* seconds since 1970: what counts after a restart */
    std::int64_t m_running = 0; /* seconds that the machine has run by then */
    std::string m_boot;         /* which run of the machine */
};

struct Journal {
    Json before; /* the state */
    Json after;  /* likewise; what is wanted, while the load is at work */
    std::vector<DocumentPath> parts;
    std::optional<DueTime> due; /* when a load that isn't confirmed is undone */
    std::string by = {};        /* who confirms it; empty: a user */

    /* nullopt where there is none. One that can't be read is a ToolError with its path. */
    static std::optional<Journal> read();
    /* Whether a verb has to look at it: a mere look, without the lock. */
    static bool isThere();
    static std::string path();
    /* On disk when it returns. */
    void write() const;
    /* Gone from the disk when it returns. */
    static void remove();
};

/* Undoes a load that was killed, or that nobody confirmed in time, and calls `tell` with what it has done. A ToolError
   when something can't be undone; then the journal stays, for the next verb. The caller holds the change lock. */
void undoAbandonedLoad(const std::function<void(const std::string& text)>& tell);

/* What a process without a user leaves for the next verb to tell, which holds the change lock likewise. */
void leaveNote(const std::string& text);
bool isNoteThere();
std::string takeNote();

} // namespace wdlt

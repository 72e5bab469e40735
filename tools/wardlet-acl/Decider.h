/* Decides questions by the features' switches and lists. It remembers what it has found out about each URL, until
   anything changes; what couldn't be read is read again for the next questions. For one thread. */
#pragma once

#include "HomeLook.h"
#include "ListFiles.h"
#include "Question.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>
#include <wdltcfg/records.h>

namespace wdlt {

class Decider {
  public:
    /* Answers in the order of the questions, valid until the next call. `notices` counts the changes that were heard of.
       Never throws. */
    std::span<const Answer> decide(std::span<const Question> questions, std::uint64_t notices);
    /* The home that it has answered from was replaced: only a new process sees the new one. */
    bool isOver() const { return m_home && !m_home->isSame(); }
    /* Whether the settings could be read for the last answers. */
    bool isReady() const { return m_switches.has_value(); }

  private:
    /* Whether a URL is on the white and on the black list; nothing: it isn't known. */
    using Found = std::array<std::optional<bool>, 2>;
    using Known = std::unordered_map<std::string, Found>;
    struct Switches {
        bool urlFilter;
        bool hostFilter;
    };

    void forget();
    void follow(std::uint64_t notices);
    void readSwitches();
    void readHosts();
    void findOut(std::span<const Question> questions);
    void search(std::uint32_t list);
    Answer answerTo(const Question& question, const Found* found) const;
    Answer verdict(const Question& question, const Found& found) const;
    bool isHost(const Question& question) const;

    ListFiles m_files;
    std::optional<ListState> m_state; /* what is known is of this one */
    std::uint64_t m_notices = 0;
    std::chrono::steady_clock::time_point m_settlesAt; /* zero: it has settled */

    std::optional<HomeIdentity> m_home; /* once it was read */
    std::optional<Switches> m_switches;
    std::unordered_set<std::string> m_hosts;
    Known m_known;
    std::size_t m_knownBytes = 0;

    /* Of the questions in hand. */
    std::vector<const Found*> m_found;
    std::vector<Known::value_type*> m_unknown;
    std::vector<WdpeUrlfQueryEntry> m_entries;
    std::vector<Answer> m_answers;
    std::string m_failure;                     /* of all */
    std::array<std::string, 2> m_listFailures; /* white, black; empty: it could be read */
    std::string m_hostFailure;
};

} // namespace wdlt

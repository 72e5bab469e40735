/* Puts a state in the place of an installation. All that may fail comes before the first change: the files are laid
   down beside their places, a damaged registry is set aside, and the tree is stored in one transaction. What is left
   then is renaming. Who is killed in between has a journal with the state, and the next verb does all of it again. */
#pragma once

#include "SavedState.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace wdlt {

class HomeCopy;

/* Of a file that lies beside its place. */
inline constexpr const char* kRestoredEnding = ".restored.tmp";

/* The files of the directory that the state goes to that it replaces or removes, whoever's they are; but not those that
   only the settings which it replaces name. A ToolError where one is no file. */
std::set<std::string> filesInTheWay(const SavedState& state);

class Replacement {
  public:
    Replacement(std::string home, const SavedState& state);
    /* Removes what lies beside. */
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /* A ToolError when it can't be done; then all is as before, but for the damaged registry, which is in `kept`. */
    void store(bool isDamaged, HomeCopy& kept);
    /* A ToolError for what is done in part. */
    void place();

  private:
    /* `gone`: files of the installation that is replaced. */
    void lieBeside(std::set<std::string> gone);

    const std::string m_home;
    const SavedState& m_state;
    const std::string m_install;                               /* the directory, as it is stored */
    const std::string m_folder;                                /* its path */
    std::vector<std::pair<std::string, std::string>> m_beside; /* where a file lies, and where it belongs */
    std::vector<std::string> m_gone;                           /* files that the state lacks */
};

/* For a restore that was killed. Returns what was done. */
std::string finishRestore(const std::string& home, const std::string& journal);

/* "212 values and 5 files of 2026-11-26 10:15:00, in /opt/wardlet" */
std::string toldOf(const SavedState& state);

} // namespace wdlt

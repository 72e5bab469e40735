/* Looks over the library's shoulder while a verb runs: it hears the lines of its log, whether or not that is on, so that
   the tool can say why a call failed, that it waits for the service, and what is done when the user interrupts it. */
#pragma once

#include <map>
#include <optional>
#include <platform/base.h>
#include <string>
#include <thread>
#include <vector>

namespace wdlt {

class LibraryWatch {
  public:
    using Values = std::map<std::u16string, std::vector<BYTE>>; /* by their paths */

    /* `verb` is what the user typed: "add urls". Verbose: each error line is printed as it comes. `changesAnyway`: the
       verb changes things, and it can't be told which. */
    LibraryWatch(const std::string& verb, bool verbose, bool changesAnyway);
    ~LibraryWatch();
    LibraryWatch(const LibraryWatch&) = delete;
    LibraryWatch& operator=(const LibraryWatch&) = delete;

    /* From here on the verb may change settings: what it has changed is told when it is interrupted. */
    void expectChanges();
    /* The verb has succeeded: warns when the service left a call without an answer. */
    void end() const;

    /* The verb takes as long as the user wants: nothing is told of waiting. */
    static void expectToLast();
    /* Interrupted while there is one, the verb says in place of what it has changed that this will be undone. */
    class Undoing {
      public:
        Undoing() { expectUndoing(true); }
        ~Undoing() { expectUndoing(false); }
        Undoing(const Undoing&) = delete;
        Undoing& operator=(const Undoing&) = delete;
    };
    /* What the user typed. */
    static const std::string& verb();
    /* The last error that the library has logged since this was called last; empty when it has logged none. */
    static std::string takeLastError();

  private:
    static void expectUndoing(bool isUndone);
    void watch(const std::stop_token& stop);
    std::string whatIsDone() const;
    [[noreturn]] void interrupted();

    const bool m_changesAnyway;

    std::optional<Values> m_before;
    std::jthread m_thread; /* waits for SIGINT, which all other threads block */
};

} // namespace wdlt

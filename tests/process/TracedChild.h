// A child that stands still before and behind each of its system calls, whoever makes them: our code, the registry's
// engine, the C library, the loader, in a program started anew too. What happens to a call is decided while it stands.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>

struct SystemCall {
    long number;
    std::array<std::uint64_t, 6> arguments;
};

class TracedChild {
  public:
    struct Fate {
        enum What { Made, Fails, FailsBehind, ComesShort, EndsBefore, EndsBehind } what = Made;
        int error = 0;
    };
    // Who decides, and hears of what was made with success.
    class Watcher {
      public:
        virtual Fate before(const TracedChild& child, const SystemCall& call) = 0;
        virtual void behind(const TracedChild&, const SystemCall&, std::int64_t) {}
        // From then on the child goes at its full speed.
        virtual bool hasSeenAll() const { return false; }

      protected:
        ~Watcher() = default;
    };

    // Whether this machine and its rights allow it.
    static bool isPossible();

    // Stands still before `body` begins. Killed at the latest when its object goes, and with its parent.
    explicit TracedChild(const std::function<int()>& body);
    TracedChild(const TracedChild&) = delete;
    TracedChild& operator=(const TracedChild&) = delete;
    ~TracedChild();

    // In the child: stands still until it is run on.
    static void mark();
    // To the child's next mark; false when it ended before. Without a watcher at its full speed.
    bool run(Watcher* watcher = nullptr);
    // Exit status, or Child::kSignal and the signal, of one that has ended.
    int ending() const { return m_ending; }

    std::string bytes(std::uint64_t address, std::size_t count) const;
    std::string text(std::uint64_t address) const { return bytes(address, 4096).c_str(); }
    // What stands behind a descriptor, as a path in /proc that leads to it.
    std::string descriptor(std::uint64_t file) const;

  private:
    void enter(Watcher& watcher);
    void leave(Watcher& watcher);

    pid_t m_process;
    int m_ending = -1;
    bool m_isInside = false;
    SystemCall m_call{};
    Fate m_fate;
};

// A child that stops before and after each of its system calls, whoever makes them: our code, the registry's engine,
// the C library or the loader, also after exec. While it is stopped, a watcher decides what happens to the call.
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
    // Decides before each call what happens to it, and is told afterwards of each call that succeeded.
    class Watcher {
      public:
        virtual Fate before(const TracedChild& child, const SystemCall& call) = 0;
        virtual void behind(const TracedChild&, const SystemCall&, std::int64_t) {}
        // When true, the child goes on untraced, at full speed.
        virtual bool hasSeenAll() const { return false; }

      protected:
        ~Watcher() = default;
    };

    // Whether this machine and our permissions allow tracing.
    static bool isPossible();

    // The child stops before `body` begins. It is killed with its parent, at the latest by the destructor.
    explicit TracedChild(const std::function<int()>& body);
    TracedChild(const TracedChild&) = delete;
    TracedChild& operator=(const TracedChild&) = delete;
    ~TracedChild();

    // Called in the child: stops until the next run().
    static void mark();
    // Runs to the child's next mark; false when it ended before. Without a watcher it runs at full speed.
    bool run(Watcher* watcher = nullptr);
    // Exit status, or Child::kSignal plus the signal, of a child that has ended.
    int ending() const { return m_ending; }

    std::string bytes(std::uint64_t address, std::size_t count) const;
    std::string text(std::uint64_t address) const { return bytes(address, 4096).c_str(); }
    // The path in /proc that leads to a descriptor's file.
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

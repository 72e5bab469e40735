// Processes of a test: forked children and other programs, a pipe for signals between them, and memory that a test
// shares with its children. A test must not start children while threads of its own run, unless that is what it tests.
#pragma once

#include <gtest/gtest.h>

#include <concepts>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <grp.h>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

// Killed with its parent, at the latest by the destructor.
class Child {
  public:
    static constexpr int kSignal = 1000; // plus the signal that ended it
    static constexpr int kKilled = kSignal + SIGKILL;

    // `body` returns the exit status. If it returns void, the status is 0 when all its expectations held, else 1.
    template <std::invocable Body>
    explicit Child(Body&& body) : m_process(flushAndFork()) {
        if (m_process != 0)
            return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
            body();
            std::fflush(stdout);
            _exit(testing::Test::HasFailure() ? 1 : 0);
        } else {
            _exit(static_cast<int>(body()));
        }
    }
    // Runs another program, by its path and arguments; it inherits the environment and pipes.
    static Child run(const std::vector<std::string>& words) {
        return Child([&] { return become(words); });
    }
    // Called in a child: executes the program in its place. Returns only when that fails.
    static int become(std::vector<std::string> words) {
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
        return 127;
    }
    Child(Child&& other) noexcept : m_process(std::exchange(other.m_process, -1)) {}
    Child& operator=(Child&& other) noexcept {
        std::swap(m_process, other.m_process);
        return *this;
    }
    ~Child() { kill(); }

    // Returns the exit status, or kSignal plus the signal.
    int wait() {
        int status = 0;
        if (waitpid(std::exchange(m_process, -1), &status, 0) < 0)
            return -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : kSignal + WTERMSIG(status);
    }
    pid_t process() const { return m_process; }
    void signal(int number) const { ::kill(m_process, number); }
    // Kills and returns the same as wait: a child that had already ended keeps its own status.
    int kill() {
        if (m_process <= 0)
            return -1;
        ::kill(m_process, SIGKILL);
        return wait();
    }

    // Whether wait would return at once.
    bool hasEnded() const {
        siginfo_t ended{};
        return waitid(P_PID, static_cast<id_t>(m_process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               ended.si_pid == m_process;
    }

  private:
    static pid_t flushAndFork() {
        std::fflush(stdout); // otherwise the child would have a copy of the buffer
        return fork();
    }

    pid_t m_process;
};

[[noreturn]] inline void pauseForever() {
    for (;;)
        pause();
}

// Runs expectations in a child; a failure there fails this process's test.
template <class Body>
void inChild(Body&& body) {
    EXPECT_EQ(Child(body).wait(), 0) << "in a child";
}

// Called in a child of root: becomes this user, with only this group. The numbers are assumed to be unused on any
// machine.
inline constexpr uid_t kOneUser = 61'001;
inline constexpr uid_t kOtherUser = 61'002;
inline constexpr gid_t kHomeGroup = 61'100;
inline bool becomeUser(uid_t user, gid_t group) {
    const bool done = setgroups(0, nullptr) == 0 && setgid(group) == 0 && setuid(user) == 0;
    prctl(PR_SET_PDEATHSIG, SIGKILL); // cleared by the change of user
    return done;
}

// A child that runs as `user`; only root can run one as somebody else.
inline constexpr gid_t kNoGroup = 61'200;
template <class Body>
Child as(uid_t user, Body&& body, gid_t group = kNoGroup) {
    return Child([&] {
        if (user != 0 && !becomeUser(user, group))
            std::abort();
        return body();
    });
}

// The result of `body` in a process of that user, as a member of the home's group; without root it runs as this user.
inline int asMember(uid_t user, const std::function<int()>& body) {
    return Child([&] { return geteuid() != 0 || becomeUser(user, kHomeGroup) ? body() : 100; }).wait();
}

class Pipe {
  public:
    Pipe() {
        if (pipe(m_ends) != 0)
            std::abort();
    }
    ~Pipe() {
        close(m_ends[0]);
        closeSender();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void signal() const {
        if (write(m_ends[1], "", 1) != 1)
            std::abort();
    }
    // Waits for a byte; false when every sender has closed its end.
    bool await() const {
        char byte = 0;
        return receive(byte);
    }
    bool receive(char& byte) const { return read(m_ends[0], &byte, 1) == 1; }
    void closeSender() {
        if (m_ends[1] >= 0)
            close(std::exchange(m_ends[1], -1));
    }
    // The descriptor to pass to another program.
    int sender() const { return m_ends[1]; }
    int receiver() const { return m_ends[0]; }

  private:
    int m_ends[2];
};

// A child that waits at each `stop` of its body until goOn().
class SteppedChild {
  public:
    using Stop = std::function<void()>;

    template <std::invocable<const Stop&> Body>
    explicit SteppedChild(Body&& body)
        : m_child([&] {
              m_goOn.closeSender(); // so that the end of the test wakes this child and its children
              return body(Stop([this] {
                  m_stopped.signal();
                  m_goOn.await();
              }));
          }) {
        m_stopped.closeSender();
    }

    // False when it ended or was killed before the stop.
    bool awaitStop() const { return m_stopped.await(); }
    void goOn() const { m_goOn.signal(); }
    int wait() { return m_child.wait(); }
    int kill() { return m_child.kill(); }
    // Lets it go on from its last stop; returns its exit status.
    int end() {
        goOn();
        return wait();
    }

  private:
    Pipe m_stopped;
    Pipe m_goOn;
    Child m_child;
};

// A child that calls `begin` and keeps the result until it is killed.
template <class Begin>
Child childWith(Begin&& begin) {
    Pipe begun;
    Child child([&] {
        [[maybe_unused]] const auto kept = begin();
        begun.signal();
        pauseForever();
    });
    begun.closeSender();
    EXPECT_TRUE(begun.await());
    return child;
}

// A zeroed T that is shared by this process and its children.
template <class T>
class Shared {
  public:
    Shared() {
        void* memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            std::abort();
        m_content = ::new (memory) T{};
    }
    ~Shared() { munmap(m_content, sizeof(T)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    T* operator->() const { return m_content; }
    T& operator*() const { return *m_content; }

  private:
    T* m_content;
};

// Processes of a test: a child of a fork or a program started anew, a pipe to tell each other how far one is, and
// memory that a test shares with its children. A test must not start children while threads of its own run, but where
// forks in the middle are what it is about.
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

// Killed at the latest when its object goes, and with its parent.
class Child {
  public:
    static constexpr int kSignal = 1000; // added to the signal that ended it
    static constexpr int kKilled = kSignal + SIGKILL;

    // `body` gives the exit status. One that gives nothing has expectations of its own: 0 when all of them held.
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
    // Another program, by its path and arguments; it has the environment and the pipes of this one.
    static Child run(const std::vector<std::string>& words) {
        return Child([&] { return become(words); });
    }
    // In a child: the same, in its place. Returns only when there is no such program.
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

    // Its exit status, or kSignal and the signal.
    int wait() {
        int status = 0;
        if (waitpid(std::exchange(m_process, -1), &status, 0) < 0)
            return -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : kSignal + WTERMSIG(status);
    }
    void signal(int number) const { ::kill(m_process, number); }
    // As wait: one that had ended by itself before shows its own status.
    int kill() {
        if (m_process <= 0)
            return -1;
        ::kill(m_process, SIGKILL);
        return wait();
    }

    // Whether wait would give its status at once.
    bool hasEnded() const {
        siginfo_t ended{};
        return waitid(P_PID, static_cast<id_t>(m_process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               ended.si_pid == m_process;
    }

  private:
    static pid_t flushAndFork() {
        std::fflush(stdout); // else the child has it in its buffer too
        return fork();
    }

    pid_t m_process;
};

[[noreturn]] inline void pauseForever() {
    for (;;)
        pause();
}

// A child's expectations, as if they were this process's.
template <class Body>
void inChild(Body&& body) {
    EXPECT_EQ(Child(body).wait(), 0) << "in a child";
}

// In a child: the administrator becomes this user, with no other group. No user or group of any machine has the
// numbers.
inline constexpr uid_t kOneUser = 61'001;
inline constexpr uid_t kOtherUser = 61'002;
inline constexpr gid_t kHomeGroup = 61'100;
inline bool becomeUser(uid_t user, gid_t group) {
    const bool done = setgroups(0, nullptr) == 0 && setgid(group) == 0 && setuid(user) == 0;
    prctl(PR_SET_PDEATHSIG, SIGKILL); // changing users took it back
    return done;
}

// A child of that user's; only the administrator can have another's.
inline constexpr gid_t kNoGroup = 61'200;
template <class Body>
Child as(uid_t user, Body&& body, gid_t group = kNoGroup) {
    return Child([&] {
        if (user != 0 && !becomeUser(user, group))
            std::abort();
        return body();
    });
}

// What `body` gives in a process of that user's, a member of the home's group, where this one can be several.
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
    // Until a byte comes, or the last process that could send one has closed its end.
    bool await() const {
        char byte = 0;
        return receive(byte);
    }
    bool receive(char& byte) const { return read(m_ends[0], &byte, 1) == 1; }
    void closeSender() {
        if (m_ends[1] >= 0)
            close(std::exchange(m_ends[1], -1));
    }
    // For a program started anew.
    int sender() const { return m_ends[1]; }

  private:
    int m_ends[2];
};

// A child that waits at each `stop` of its body until it may go on.
class SteppedChild {
  public:
    using Stop = std::function<void()>;

    template <std::invocable<const Stop&> Body>
    explicit SteppedChild(Body&& body)
        : m_child([&] {
              m_goOn.closeSender(); // so that the end of the test wakes it, and its children
              return body(Stop([this] {
                  m_stopped.signal();
                  m_goOn.await();
              }));
          }) {
        m_stopped.closeSender();
    }

    // False when it ended, or was killed, on the way.
    bool awaitStop() const { return m_stopped.await(); }
    void goOn() const { m_goOn.signal(); }
    int wait() { return m_child.wait(); }
    int kill() { return m_child.kill(); }
    // From its last stop to its end.
    int end() {
        goOn();
        return wait();
    }

  private:
    Pipe m_stopped;
    Pipe m_goOn;
    Child m_child;
};

// A child that does `begin` and keeps what that gave until it is killed.
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

// A T of zeros, the same one in this process and in its children.
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

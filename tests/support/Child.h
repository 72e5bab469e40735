// Processes of a test: a child of a fork or a program started anew, a pipe to tell each other how far one is, and
// memory that a test shares with its children. A test must not start children while threads of its own run, but where
// forks in the middle are what it is about.
#pragma once

#include <csignal>
#include <cstdlib>
#include <functional>
#include <grp.h>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

// Killed at the latest when its object goes, and with its parent.
class Child {
  public:
    static constexpr int kSignal = 1000; // added to the signal that ended it

    explicit Child(const std::function<int()>& body) : m_process(fork()) {
        if (m_process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            _exit(body());
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
    // As wait: one that had ended by itself before shows its own status.
    int kill() {
        if (m_process <= 0)
            return -1;
        ::kill(m_process, SIGKILL);
        return wait();
    }

  private:
    pid_t m_process;
};

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

    void signal() const { send(0); }
    void send(char byte) const {
        if (write(m_ends[1], &byte, 1) != 1)
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

// The service's tree for benchmarks, and a second process.
#pragma once

#include <platform/win32.h>

#include <benchmark/benchmark.h>

#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

inline const std::string kBase = "SOFTWARE\\Halvermoor\\PLK\\Wardlet";

class Key {
  public:
    explicit Key(const std::string& path) {
        if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_key,
                            nullptr) != ERROR_SUCCESS)
            throw std::runtime_error("no key " + path);
    }
    ~Key() { RegCloseKey(m_key); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    void set(const char* name, DWORD number) const {
        RegSetValueExA(m_key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    }
    void set(const char* name, const char* text) const {
        RegSetValueExA(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                       static_cast<DWORD>(std::strlen(text) + 1));
    }

  private:
    HKEY m_key = nullptr;
};

// A child process, killed by the destructor.
class Child {
  public:
    template <class Body>
    explicit Child(Body body) : m_child(fork()) {
        if (m_child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            body();
            _exit(0);
        }
    }
    ~Child() {
        kill(m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

  private:
    pid_t m_child;
};

struct Pipe {
    Pipe() {
        if (pipe(ends) != 0)
            throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        close(ends[0]);
        close(ends[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    bool put() const { return write(ends[1], "x", 1) == 1; }
    bool take() const {
        char byte = 0;
        return read(ends[0], &byte, 1) == 1;
    }
    int ends[2] = {-1, -1};
};

// The closest comparison for an exchange: a byte sent to another process and back.
inline void pipesBackAndForth(benchmark::State& state) {
    const Pipe there;
    const Pipe back;
    const Child other([&] {
        while (there.take() && back.put()) {
        }
    });
    for (auto _ : state) {
        there.put();
        back.take();
    }
}

} // namespace bench

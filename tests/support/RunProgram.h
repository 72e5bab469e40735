// Runs the built programs, from the test program's directory, in the test's home.
#pragma once

#include "TestHome.h"
#include <Child.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// `words` begins with the program's name; `redirections` are a shell's.
inline Child startProgram(std::vector<std::string> words, const std::string& redirections) {
    words.at(0) = std::filesystem::read_symlink("/proc/self/exe").parent_path() / words[0];
    words.insert(words.begin(), {"/bin/sh", "-c", R"(exec "$0" "$@" )" + redirections});
    return Child::run(std::move(words));
}

struct ProgramResult {
    int status; // as returned by Child::wait
    std::string out;
    std::string err;
};
inline ProgramResult runProgram(const std::vector<std::string>& words, std::string_view input = {}) {
    const TestHome& home = TestHome::instance();
    home.write("run/in", input);
    const std::string run = home.path() / "run";
    const int status = startProgram(words, "<'" + run + "/in' >'" + run + "/out' 2>'" + run + "/err'").wait();
    return {status, home.read("run/out"), home.read("run/err")};
}

// A program that runs alongside the test: its standard output is read line by line, its standard error is the test's.
// `redirections` are of the others.
class RunningProgram {
  public:
    explicit RunningProgram(const std::vector<std::string>& words, const std::string& redirections = "")
        : m_child(startProgram(words, ">/dev/fd/" + std::to_string(m_output.sender()) + " " + redirections)) {
        m_output.closeSender();
    }
    // Waits for a line; empty when the program ended first.
    std::string readLine() const {
        std::string line;
        for (char c = 0; m_output.receive(c) && c != '\n';)
            line.push_back(c);
        return line;
    }
    int endedBy(int signal) {
        m_child.signal(signal);
        return m_child.wait();
    }
    int wait() { return m_child.wait(); }
    pid_t process() const { return m_child.process(); }

  private:
    Pipe m_output;
    Child m_child;
};

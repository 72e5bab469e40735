#include "TracedChild.h"

#include "Child.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>

namespace {

constexpr std::size_t kNumber = offsetof(user_regs_struct, orig_rax);
constexpr std::size_t kResult = offsetof(user_regs_struct, rax);
constexpr std::size_t kThirdArgument = offsetof(user_regs_struct, rdx);
constexpr int kSystemCallStop = SIGTRAP | 0x80;

template <class Data>
long trace(__ptrace_request request, pid_t process, std::size_t address, Data data) {
    return ptrace(request, process, reinterpret_cast<void*>(address), data);
}

} // namespace

bool TracedChild::isPossible() {
    return Child([] { return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1; }).wait() == 0;
}

TracedChild::TracedChild(const std::function<int()>& body) : m_process(fork()) {
    if (m_process == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        mark();
        _exit(body());
    }
    int status = 0;
    if (waitpid(m_process, &status, 0) != m_process ||
        trace(PTRACE_SETOPTIONS, m_process, 0, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0)
        std::abort();
}

TracedChild::~TracedChild() {
    if (m_ending < 0 && kill(m_process, SIGKILL) == 0)
        waitpid(m_process, nullptr, 0);
}

void TracedChild::mark() {
    raise(SIGSTOP);
}

bool TracedChild::run(Watcher* watcher) {
    long signal = 0;
    for (;;) {
        const bool isWatched = watcher != nullptr && (m_isInside || !watcher->hasSeenAll());
        trace(isWatched ? PTRACE_SYSCALL : PTRACE_CONT, m_process, 0, signal);
        int status = 0;
        if (waitpid(m_process, &status, 0) != m_process)
            std::abort();
        if (!WIFSTOPPED(status)) {
            m_ending = WIFEXITED(status) ? WEXITSTATUS(status) : Child::kSignal + WTERMSIG(status);
            return false;
        }
        signal = 0;
        if (WSTOPSIG(status) == SIGSTOP) {
            m_isInside = false;
            return true;
        }
        if (WSTOPSIG(status) != kSystemCallStop)
            signal = WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status); // SIGTRAP: after exec
        else if (watcher != nullptr && !std::exchange(m_isInside, !m_isInside))
            enter(*watcher);
        else if (watcher != nullptr)
            leave(*watcher);
    }
}

void TracedChild::enter(Watcher& watcher) {
    __ptrace_syscall_info info{};
    trace(PTRACE_GET_SYSCALL_INFO, m_process, sizeof info, &info);
    m_call.number = static_cast<long>(info.entry.nr);
    std::copy_n(info.entry.args, m_call.arguments.size(), m_call.arguments.begin());
    m_fate = watcher.before(*this, m_call);
    if (m_fate.what == Fate::Fails || m_fate.what == Fate::EndsBefore)
        trace(PTRACE_POKEUSER, m_process, kNumber, -1L); // an invalid call number
    if (m_fate.what == Fate::EndsBefore)
        kill(m_process, SIGKILL);
    if (m_fate.what == Fate::ComesShort)
        trace(PTRACE_POKEUSER, m_process, kThirdArgument, m_call.arguments[2] / 2);
}

void TracedChild::leave(Watcher& watcher) {
    if (m_fate.what == Fate::EndsBehind)
        kill(m_process, SIGKILL);
    if (m_fate.what == Fate::Fails || m_fate.what == Fate::FailsBehind)
        trace(PTRACE_POKEUSER, m_process, kResult, -static_cast<long>(m_fate.error));
    __ptrace_syscall_info info{};
    trace(PTRACE_GET_SYSCALL_INFO, m_process, sizeof info, &info);
    if (info.exit.is_error == 0)
        watcher.behind(*this, m_call, info.exit.rval);
}

std::string TracedChild::bytes(std::uint64_t address, std::size_t count) const {
    std::string copy(count, '\0');
    constexpr std::size_t kPage = 4096; // a text may end at the last mapped page
    std::size_t done = 0;
    while (done < count) {
        const std::size_t piece = std::min(count - done, kPage - (address + done) % kPage);
        const iovec to{copy.data() + done, piece};
        const iovec from{reinterpret_cast<void*>(address + done), piece};
        if (process_vm_readv(m_process, &to, 1, &from, 1, 0) != static_cast<ssize_t>(piece))
            break;
        done += piece;
    }
    copy.resize(done);
    return copy;
}

std::string TracedChild::descriptor(std::uint64_t file) const {
    return "/proc/" + std::to_string(m_process) + "/fd/" + std::to_string(static_cast<int>(file));
}

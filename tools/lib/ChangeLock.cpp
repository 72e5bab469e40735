#include "ChangeLock.h"

#include "LayerError.h"
#include "Process.h"

#include <array>
#include <climits>
#include <cstdio>
#include <platform/home.h>
#include <string>

namespace wdlt {
namespace {

std::string lockPath() {
    std::array<char, PATH_MAX> home{};
    WdLookAtHome(home.data(), static_cast<DWORD>(home.size()));
    return std::string("the lock of changes in ") + home.data();
}

HANDLE openMutex() {
    auto* const mutex = CreateMutexA(nullptr, FALSE, ChangeLock::kName);
    if (mutex == nullptr)
        throw LayerError(lockPath(), static_cast<LONG>(GetLastError()));
    return mutex;
}

} // namespace

void ChangeLock::ifFree(const std::function<void()>& body) {
    auto* const mutex = openMutex();
    const DWORD result = WaitForSingleObject(mutex, 0);
    if (result == WAIT_TIMEOUT || result == WAIT_FAILED) {
        CloseHandle(mutex);
        return;
    }
    const ChangeLock lock(mutex);
    body();
}

ChangeLock::ChangeLock() : m_mutex(openMutex()) {
    constexpr DWORD kUntold = 500;
    DWORD result = WaitForSingleObject(m_mutex, kUntold);
    if (result == WAIT_TIMEOUT) {
        if (isTerminal())
            std::fputs("waiting for another change of these settings\n", stderr);
        result = WaitForSingleObject(m_mutex, INFINITE);
    }
    if (result != WAIT_FAILED)
        return;
    const auto error = static_cast<LONG>(GetLastError());
    CloseHandle(m_mutex);
    throw LayerError(lockPath(), error);
}

ChangeLock::~ChangeLock() {
    ReleaseMutex(m_mutex);
    CloseHandle(m_mutex);
}

} // namespace wdlt

// Kernel objects for tests: handles that close themselves, security for everybody, and the objects' files.
#pragma once

#include "TestHome.h"

#include <platform/testing.h>
#include <platform/win32.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

struct HandleCloser {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

// The error of a call of the layer; 0 if it succeeded.
template <class Succeeded>
DWORD errorOf(Succeeded succeeded) {
    return static_cast<bool>(succeeded) ? ERROR_SUCCESS : GetLastError();
}

// A security descriptor that gives everybody access; valid while this lives.
class Everybody {
  public:
    Everybody() {
        InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&m_descriptor, TRUE, nullptr, FALSE);
    }
    Everybody(const Everybody&) = delete;
    Everybody& operator=(const Everybody&) = delete;

    LPSECURITY_ATTRIBUTES get() { return &m_attributes; }

  private:
    SECURITY_DESCRIPTOR m_descriptor{};
    SECURITY_ATTRIBUTES m_attributes{sizeof(SECURITY_ATTRIBUTES), &m_descriptor, FALSE};
};

// Create or open a named object of each kind; null on failure, see GetLastError.
inline Handle makeMutex(const char* name, bool owned = false, LPSECURITY_ATTRIBUTES security = nullptr) {
    return Handle(CreateMutexA(security, owned ? TRUE : FALSE, name));
}
inline Handle openMutex(const char* name) {
    return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name));
}
inline Handle makeEvent(const char* name, bool manual, bool signalled, LPSECURITY_ATTRIBUTES security = nullptr) {
    return Handle(CreateEventA(security, manual ? TRUE : FALSE, signalled ? TRUE : FALSE, name));
}
inline Handle makeSemaphore(const char* name, LONG count, LONG maximum, LPSECURITY_ATTRIBUTES security = nullptr) {
    return Handle(CreateSemaphoreA(security, count, maximum, name));
}
inline Handle makeMapping(const char* name, DWORD bytes, LPSECURITY_ATTRIBUTES security = nullptr) {
    return Handle(CreateFileMappingA(INVALID_HANDLE_VALUE, security, PAGE_READWRITE, 0, bytes, name));
}

// A view of a mapping, unmapped by its destructor; null on failure.
struct ViewCloser {
    void operator()(void* view) const { UnmapViewOfFile(view); }
};
template <class T>
using View = std::unique_ptr<T[], ViewCloser>;
template <class T>
View<T> viewOf(const Handle& mapping, std::size_t bytes = 0, DWORD access = FILE_MAP_ALL_ACCESS) {
    return View<T>(static_cast<T*>(MapViewOfFile(mapping.get(), access, 0, 0, bytes)));
}

// Switches to an unused home below the test's own. What is open still belongs to the previous one.
inline void useFreshHome() {
    static int homes = 0;
    const std::filesystem::path home = TestHome::instance().path() / ("home" + std::to_string(++homes));
    setenv("WARDLET_HOME", home.string().c_str(), 1);
    WdTestRereadEnvironment();
}
inline std::filesystem::path objectsFolder() {
    return std::filesystem::path(getenv("WARDLET_HOME")) / "objects";
}
// Names of all objects' files, or with `dotted` of the other files.
inline std::vector<std::string> objectFiles(const std::filesystem::path& folder = objectsFolder(),
                                            bool dotted = false) {
    std::vector<std::string> names;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none))
        if (const std::string name = entry.path().filename().string(); (name.front() == '.') == dotted)
            names.push_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

inline DWORD waitFor(const Handle& object, DWORD time = 0) {
    return WaitForSingleObject(object.get(), time);
}
// Waits on a new thread, which then ends: a mutex that it got is abandoned.
inline DWORD waitElsewhere(const Handle& object, DWORD time = 0) {
    DWORD result = WAIT_FAILED;
    std::thread([&] { result = waitFor(object, time); }).join();
    return result;
}

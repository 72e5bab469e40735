#include "GMutex.h"

#include "SecurityAttributes.h"

#include <utility>

namespace {

// The two names of a mutex; the local one is empty where the system has no sessions.
struct Names {
    std::string local;
    std::string global;
};

Names namesOf(const char* name) {
    constexpr DWORD kFirstVersionWithSessions = 5;
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    const bool hasSessions = GetVersionExA(&version) != FALSE && version.dwPlatformId == VER_PLATFORM_WIN32_NT &&
                             version.dwMajorVersion >= kFirstVersionWithSessions;
    if (!hasSessions)
        return {{}, name};
    return {std::string("Local_").append(name), std::string("Global\\").append(name)};
}

bool exists(const std::string& name) {
    HANDLE mutex = OpenMutexA(SYNCHRONIZE, FALSE, name.c_str());
    if (mutex == nullptr)
        return false;
    CloseHandle(mutex);
    return true;
}

} // namespace

int CGMutex::CheckGMutex(const char* name) {
    const Names names = namesOf(name);
    if (!names.local.empty() && exists(names.local))
        return kLocal;
    return exists(names.global) ? kGlobal : kNobody;
}

int CGMutex::CreateGMutexEx(const char* name) {
    close();
    m_szName = {};
    std::string(name).copy(m_szName.data(), m_szName.size() - 1);
    const Names names = namesOf(m_szName.data());
    const SharedSecAttr security;
    const auto create = [&](const std::string& whole, HANDLE& mutex, Presence taken) {
        mutex = CreateMutexA(security.m_pAttributes, FALSE, whole.c_str());
        if (mutex == nullptr)
            return kNobody;
        return GetLastError() == ERROR_ALREADY_EXISTS ? taken : kCreated;
    };
    Presence result = names.local.empty() ? kCreated : create(names.local, m_hLocal, kLocal);
    if (result == kCreated)
        result = create(names.global, m_hGlobal, kGlobal);
    if (result != kCreated)
        close();
    return result;
}

void CGMutex::close() {
    for (HANDLE* const mutex : {&m_hLocal, &m_hGlobal})
        if (*mutex != nullptr)
            CloseHandle(std::exchange(*mutex, nullptr));
}

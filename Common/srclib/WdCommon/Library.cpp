#include "WdCommon/Library.h"

namespace WdCommon::Library {

Base::~Base() {
    Free();
}

bool Base::Load(const char* path, DWORD& error) {
    error = ERROR_SUCCESS;
    if (m_module != nullptr)
        return false;
    m_module = LoadLibraryA(path);
    if (m_module == nullptr)
        error = GetLastError();
    return m_module != nullptr;
}

bool Base::Free() {
    if (m_module == nullptr)
        return false;
    const bool freed = FreeLibrary(m_module) != FALSE;
    m_module = nullptr;
    return freed;
}

FARPROC Base::Find(const char* name) const {
    return m_module == nullptr ? nullptr : GetProcAddress(m_module, name);
}

bool Wrapper::LoadAndBind(const char* path, DWORD& error) {
    if (!Load(path, error))
        return false;
    if (Bind(true, error))
        return true;
    Unload();
    return false;
}

void Wrapper::Unload() {
    Free();
    DWORD ignored = ERROR_SUCCESS;
    Bind(false, ignored);
}

namespace {

template <class Entry>
bool find(const Base& library, const char* name, Entry& entry, DWORD& error) {
    entry = WdEntryOf<Entry>(library.Find(name));
    if (entry == nullptr)
        error = GetLastError();
    return entry != nullptr;
}

} // namespace

bool WdDbg::Bind(bool load, DWORD& error) {
    m_initialize = nullptr;
    m_uninitialize = nullptr;
    m_trace = nullptr;
    setLoaded(false);
    if (!load)
        return true;
    const bool initialize = find(*this, "WdDbgInitialize", m_initialize, error);
    const bool uninitialize = find(*this, "WdDbgUninitialize", m_uninitialize, error);
    const bool trace = find(*this, "WdDbgTrace", m_trace, error);
    setLoaded(initialize && uninitialize && trace);
    return isLoaded();
}

} // namespace WdCommon::Library

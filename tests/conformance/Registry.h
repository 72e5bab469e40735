/* The registry's calls under one name for both forms of text. */
#ifndef CONFORMANCE_REGISTRY_H
#define CONFORMANCE_REGISTRY_H

#include "Row.h"

#include <string>

inline LONG openKey(HKEY key, const char* name, REGSAM access, HKEY* result) {
    return RegOpenKeyExA(key, name, 0, access, result);
}
inline LONG openKey(HKEY key, const WCHAR* name, REGSAM access, HKEY* result) {
    return RegOpenKeyExW(key, name, 0, access, result);
}
inline LONG createKey(HKEY key, const char* name, REGSAM access, HKEY* result, LPDWORD disposition) {
    return RegCreateKeyExA(key, name, 0, nullptr, 0, access, nullptr, result, disposition);
}
inline LONG createKey(HKEY key, const WCHAR* name, REGSAM access, HKEY* result, LPDWORD disposition) {
    return RegCreateKeyExW(key, name, 0, nullptr, 0, access, nullptr, result, disposition);
}
inline LONG deleteKey(HKEY key, const char* name) {
    return RegDeleteKeyA(key, name);
}
inline LONG deleteKey(HKEY key, const WCHAR* name) {
    return RegDeleteKeyW(key, name);
}
inline LONG enumKey(HKEY key, DWORD index, char* name, LPDWORD length) {
    return RegEnumKeyExA(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
}
inline LONG enumKey(HKEY key, DWORD index, WCHAR* name, LPDWORD length) {
    return RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
}
inline LONG setValue(HKEY key, const char* name, DWORD type, const void* data, DWORD size) {
    return RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), size);
}
inline LONG setValue(HKEY key, const WCHAR* name, DWORD type, const void* data, DWORD size) {
    return RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size);
}
inline LONG queryValue(HKEY key, const char* name, LPDWORD type, void* data, LPDWORD size) {
    return RegQueryValueExA(key, name, nullptr, type, static_cast<BYTE*>(data), size);
}
inline LONG queryValue(HKEY key, const WCHAR* name, LPDWORD type, void* data, LPDWORD size) {
    return RegQueryValueExW(key, name, nullptr, type, static_cast<BYTE*>(data), size);
}
inline LONG enumValue(HKEY key, DWORD index, char* name, LPDWORD length, LPDWORD type, BYTE* data, LPDWORD size) {
    return RegEnumValueA(key, index, name, length, nullptr, type, data, size);
}
inline LONG enumValue(HKEY key, DWORD index, WCHAR* name, LPDWORD length, LPDWORD type, BYTE* data, LPDWORD size) {
    return RegEnumValueW(key, index, name, length, nullptr, type, data, size);
}
inline LONG deleteValue(HKEY key, const char* name) {
    return RegDeleteValueA(key, name);
}
inline LONG deleteValue(HKEY key, const WCHAR* name) {
    return RegDeleteValueW(key, name);
}

/* A key of its own for an area's rows, removed with all below it. */
class ScratchKey {
  public:
    ScratchKey() { clear(), createKey(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS, &m_key, nullptr); }
    ScratchKey(const ScratchKey&) = delete;
    ScratchKey& operator=(const ScratchKey&) = delete;
    ~ScratchKey() { RegCloseKey(m_key), clear(); }
    operator HKEY() const { return m_key; } // NOLINT(google-explicit-constructor)

    /* A subkey, which the caller closes. */
    HKEY make(const char* name, REGSAM access = KEY_ALL_ACCESS) const {
        HKEY key = nullptr;
        createKey(m_key, name, access, &key, nullptr);
        return key;
    }

  private:
    static constexpr char kPath[] = "SOFTWARE\\Conformance rows";

    static void clear() { removeTree(HKEY_LOCAL_MACHINE, WTEXT("SOFTWARE\\Conformance rows")); }
    static bool removeTree(HKEY parent, const WCHAR* name) {
        HKEY key = nullptr;
        if (openKey(parent, name, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS)
            return false;
        WCHAR child[300];
        DWORD kept = 0; // how many can't be removed
        for (DWORD length = 300; enumKey(key, kept, child, &length) == ERROR_SUCCESS; length = 300)
            kept += !removeTree(key, child);
        RegCloseKey(key);
        return deleteKey(parent, name) == ERROR_SUCCESS;
    }

    HKEY m_key = nullptr;
};

#endif

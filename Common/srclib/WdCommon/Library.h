// Libraries loaded at run time, and the trace library among them: its entries and the record it is started with.
// A library object is guarded by its owner.
#pragma once

#include <platform/identity.h>
#include <platform/loader.h>

#include <cstddef>

namespace WdCommon::Library {

// Holds a module handle.
class Base {
  public:
    Base() = default;
    virtual ~Base();
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;

    // False with `error` set, or with 0 there when a module is held already.
    bool Load(const char* path, DWORD& error);
    bool Free();
    FARPROC Find(const char* name) const;

  private:
    HMODULE m_module = nullptr;
};

// Adds entries that are looked up after loading.
class Wrapper : public Base {
  public:
    // Called after loading with true and after unloading with false.
    virtual bool Bind(bool load, DWORD& error) = 0;

    // Loads and binds; a library that lacks an entry is unloaded again.
    bool LoadAndBind(const char* path, DWORD& error);
    void Unload();
    bool isLoaded() const { return m_loaded; }

  protected:
    void setLoaded(bool loaded) { m_loaded = loaded; }

  private:
    bool m_loaded = false;
};

// The record that starts the trace library: its layout is the library's.
struct WdDbgConfig {
    BYTE serviceSession;
    BYTE robust;
    BYTE debugger;
    BYTE zero;
    SYSTEMTIME startTime;
    DWORD logProcess;
    DWORD logUnitType;
    WCHAR tag[32];
    WCHAR folder[260];
    WCHAR prefix[256];
    WCHAR file[256];
    WCHAR extension[256];
};
static_assert(sizeof(WdDbgConfig) == 2148);
static_assert(offsetof(WdDbgConfig, startTime) == 4 && offsetof(WdDbgConfig, logProcess) == 20);
static_assert(offsetof(WdDbgConfig, logUnitType) == 24 && offsetof(WdDbgConfig, tag) == 28);
static_assert(offsetof(WdDbgConfig, folder) == 92 && offsetof(WdDbgConfig, prefix) == 612);
static_assert(offsetof(WdDbgConfig, file) == 1124 && offsetof(WdDbgConfig, extension) == 1636);

class WdDbg final : public Wrapper {
  public:
    ~WdDbg() override { Unload(); }

    bool Bind(bool load, DWORD& error) override;

    // Only while isLoaded. 0 is success; a success without a handle is none.
    int Initialize(void** handle, const WdDbgConfig* config) const { return m_initialize(handle, config); }
    int Uninitialize(void* handle) const { return m_uninitialize(handle); }
    int Trace(void* handle, const SYSTEMTIME* time, const WCHAR* line) const { return m_trace(handle, time, line); }

  private:
    // Records cross as plain memory: the two sides share their layout and no type.
    int (*m_initialize)(void** handle, const void* config) = nullptr;
    int (*m_uninitialize)(void* handle) = nullptr;
    int (*m_trace)(void* handle, const void* time, const WCHAR* line) = nullptr;
};

} // namespace WdCommon::Library

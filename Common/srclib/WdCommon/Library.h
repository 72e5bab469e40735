// Libraries loaded at run time, among them the trace library: its functions and the record that it is started with. The
// owner of a library object guards it.
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

    // False with `error` set; with ERROR_SUCCESS when a module is held already.
    bool Load(const char* path, DWORD& error);
    bool Free();
    FARPROC Find(const char* name) const;

  private:
    HMODULE m_module = nullptr;
};

// Adds functions that are looked up after loading.
class Wrapper : public Base {
  public:
    // Called after loading with true and after unloading with false.
    virtual bool Bind(bool load, DWORD& error) = 0;

    // Loads and binds; a library that lacks a function is unloaded again.
    bool LoadAndBind(const char* path, DWORD& error);
    void Unload();
    bool isLoaded() const { return m_loaded; }

  protected:
    void setLoaded(bool loaded) { m_loaded = loaded; }

  private:
    bool m_loaded = false;
};

// The record that the trace library is started with: the library dictates its layout.
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

    // Only while isLoaded. 0 is success; a success without a handle counts as a failure.
    [[nodiscard]] int Initialize(void** handle, const WdDbgConfig* config) const {
        return m_initialize(handle, config);
    }
    int Uninitialize(void* handle) const { return m_uninitialize(handle); }
    [[nodiscard]] int Trace(void* handle, const SYSTEMTIME* time, const WCHAR* line) const {
        return m_trace(handle, time, line);
    }

  private:
    // Records are passed as void*: the two sides share a layout but no type.
    int (*m_initialize)(void** handle, const void* config) = nullptr;
    int (*m_uninitialize)(void* handle) = nullptr;
    int (*m_trace)(void* handle, const void* time, const WCHAR* line) = nullptr;
};

} // namespace WdCommon::Library

// The built library, loaded like its callers load it; and calls of its exports by name:
// WDLT_CALL(library, WdltPvsEnable)(1).
#pragma once

#include "Imports.h"
#include "LogFile.h"
#include "TestHome.h"

#include <platform/win32.h>
#include <wdltcfg/wdltcfg.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#define WDLT_CALL(library, name) (reinterpret_cast<decltype(&::name)>((library).symbol(#name)))

class LoadedLibrary {
  public:
    enum Log { withoutLog, withLog };

    // The library looks in its own folder for the log's settings and for what it loads: it is loaded from the home.
    explicit LoadedLibrary(Log log = withoutLog) {
        if (log == withLog)
            LogFile::writeSettings();
        const auto& home = TestHome::instance().path();
        for (const char* const name : {WDLT_LIBRARY, "WdDbg64.dll", "WdMsg.dll"})
            std::filesystem::copy_file(name, home / name, std::filesystem::copy_options::skip_existing);
        m_handle = LoadLibraryA((home / WDLT_LIBRARY).string().c_str());
        if (m_handle == nullptr)
            throw std::runtime_error("the library doesn't load: " + std::to_string(GetLastError()));
        replaceRegistry(m_handle);
    }
    ~LoadedLibrary() { unload(); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    void* symbol(const char* name) const {
        void* const address = WdEntryOf<void*>(GetProcAddress(m_handle, name));
        if (address == nullptr)
            throw std::runtime_error(std::string("no export ") + name);
        return address;
    }
    void unload() {
        if (m_handle != nullptr)
            FreeLibrary(m_handle);
        m_handle = nullptr;
    }
    bool logged(const std::string& text) const { return LogFile::fileContains(text); }

  private:
    HMODULE m_handle = nullptr;
};

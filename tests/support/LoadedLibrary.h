// libWdltCfg.so as a caller loads it at run time, in the test's home.
#pragma once

#include "LogFile.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

// The export `name` of a LoadedLibrary, with the type that the public header declares.
#define WDLT_CALL(library, name) (reinterpret_cast<decltype(&name)>((library).symbol(#name)))

class LoadedLibrary {
  public:
    enum Log { withoutLog, withLog };

    // With a log, all three levels go to a file in the home; its settings file must exist before the load.
    explicit LoadedLibrary(Log log = withoutLog) {
        if (log == withLog)
            LogFile::writeSettings();
        m_handle = dlopen(WDLT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (m_handle == nullptr)
            throw std::runtime_error(dlerror());
    }
    ~LoadedLibrary() { unload(); }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    void* symbol(const char* name) const {
        void* const address = dlsym(m_handle, name);
        if (address == nullptr)
            throw std::runtime_error(std::string("no export ") + name);
        return address;
    }
    void unload() {
        if (m_handle != nullptr)
            dlclose(m_handle);
        m_handle = nullptr;
    }
    bool logged(const std::string& text) const { return LogFile::fileContains(text); }

  private:
    void* m_handle = nullptr;
};

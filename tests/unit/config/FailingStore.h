// The registry store, but one write fails as a full disk would make it fail, or others write between two reads.
#pragma once

#include "RegistryIO.h"

#include <wdltcfg/status.h>

#include <functional>
#include <string>

class FailingStore final : public WdchIO {
  public:
    // 0: none fails.
    explicit FailingStore(int failingWrite) : m_left(failingWrite) {}

    std::function<void(const std::string& name)> afterRead;

    std::int32_t ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name, void* data,
                           DWORD* size, bool wide) override {
        const std::int32_t status = m_store.ReadValue(protocol, scan, input, section, name, data, size, wide);
        if (afterRead)
            afterRead(name);
        return status;
    }
    std::int32_t EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                 std::vector<std::string>& names) override {
        return m_store.EnumSubSections(protocol, scan, input, section, names);
    }
    std::int32_t WriteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name, DWORD type,
                            const void* data, DWORD size, bool wide) override {
        if (--m_left == 0)
            return WDLT_E_REGISTRY;
        return m_store.WriteValue(protocol, scan, input, section, name, type, data, size, wide);
    }
    std::int32_t DeleteSubSection(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                  const char* subSection) override {
        return m_store.DeleteSubSection(protocol, scan, input, section, subSection);
    }
    std::int32_t DeleteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name) override {
        return m_store.DeleteValue(protocol, scan, input, section, name);
    }

  private:
    CRegistryIO m_store;
    int m_left;
};

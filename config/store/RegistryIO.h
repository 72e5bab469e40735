// The store in the registry, below HKEY_LOCAL_MACHINE. One object belongs to one helper and so to one call on one
// thread.
#pragma once

#include "Sections.h"
#include "WdchIO.h"

#include <string>

class CRegistryIO final : public WdchIO {
  public:
    [[nodiscard]] std::int32_t ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name,
                                         void* data, DWORD* size, bool wide) override;
    [[nodiscard]] std::int32_t EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                               std::vector<std::string>& names) override;
    [[nodiscard]] std::int32_t WriteValue(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                          const char* name, DWORD type, const void* data, DWORD size,
                                          bool wide) override;
    [[nodiscard]] std::int32_t DeleteSubSection(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                                const char* subSection) override;
    [[nodiscard]] std::int32_t DeleteValue(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                           const char* name) override;

  private:
    // For a write or a deletion: searches for the handler again. What is kept may be stale a moment later, and a value
    // written to a key that is no longer a handler would be lost.
    static std::string composeAnew(DWORD protocol, DWORD scan, DWORD input, const char* section);

    template <class DeleteIn>
    [[nodiscard]] std::int32_t deleteIn(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                        const char* operation, DeleteIn deleteIn);

    const wdlt::LentSections m_sections;
};

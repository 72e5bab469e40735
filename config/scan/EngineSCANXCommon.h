// What the virus scans of all protocols have in common: settings, and the list of tolerated spyware.
#pragma once

#include "WdchHelper.h"

class CEngineSCANXCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

  private:
    std::int32_t readSettings(void* data, std::uint64_t* size);
    std::int32_t writeSettings(void* data, std::uint64_t size);
    std::int32_t BuildSpyFilePath(const void* list, std::string& path);
    std::int32_t readSpyList(void* data, std::uint64_t* size);
    std::int32_t writeSpyList(void* data, std::uint64_t size);
};

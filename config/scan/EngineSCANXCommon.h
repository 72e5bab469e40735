// Common to the virus scans of all protocols: settings, and the list of tolerated spyware.
#pragma once

#include "WdchHelper.h"

class CEngineSCANXCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

  private:
    [[nodiscard]] std::int32_t readSettings(void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t writeSettings(void* data, std::uint64_t size);
    [[nodiscard]] std::int32_t BuildSpyFilePath(const void* list, std::string& path);
    [[nodiscard]] std::int32_t readSpyList(void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t writeSpyList(void* data, std::uint64_t size);
};

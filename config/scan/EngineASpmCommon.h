// Anti-spam settings common to all protocols: prefixes and switches, and the folder of its rules.
#pragma once

#include "WdchHelper.h"

class CEngineASpmCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

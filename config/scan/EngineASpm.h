// The anti-spam settings of a protocol: level, thresholds, and the two lists with their files.
#pragma once

#include "WdchHelper.h"

class CEngineASpm final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

// The URL filter's common settings and its record files: fifteen kinds of data, by config type.
#pragma once

#include "WdchHelper.h"

class CEngineUrlFCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

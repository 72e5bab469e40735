// The settings of the HTTP manager, of the web mail scan and of file events: four records of one key, by config type.
#pragma once

#include "WdchHelper.h"

class CManagerHTTPCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

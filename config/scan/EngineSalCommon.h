// SAL's own settings, WdpeSalData. The config type is ignored, except for kSalFlagsAlone, which callers don't know.
#pragma once

#include "WdchHelper.h"

class CEngineSalCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    // A read never fails because of the registry: what can't be read is 0, or an empty text.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

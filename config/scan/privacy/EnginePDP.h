// The privacy setting of one protocol: a number that only the running service interprets.
#pragma once

#include "WdchHelper.h"

class CEnginePDP final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    // Only with WDLT_CONFIG_PRIVACY_TABLE_READ.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    // Only with WDLT_CONFIG_PRIVACY_TABLE_WRITE, of which the low 32 bits count.
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

// The virus scan of one protocol, or of files over HTTP, with the defaults of a fresh installation.
#pragma once

#include "WdchHelper.h"

class CEngineSCANX final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

// The numbers of the POP3 handler.
#pragma once

#include "WdchHelper.h"

class CHandlerPOP3 final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

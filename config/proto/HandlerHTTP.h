// The settings of the HTTP handler: the request methods that it looks at, its limits, buffers and time-out.
#pragma once

#include "WdchHelper.h"

class CHandlerHTTP final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};

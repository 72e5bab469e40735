// The host filter's settings and its list of hosts.
#pragma once

#include "WdchHelper.h"

class CEngineHosFCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

  private:
    [[nodiscard]] std::int32_t readSettings(void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t writeSettings(void* data, std::uint64_t size);
    [[nodiscard]] std::int32_t findList(const void* data, std::string& path);
    [[nodiscard]] std::int32_t readList(void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t writeList(void* data, std::uint64_t size);
};

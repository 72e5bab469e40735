// The host filter's settings and its list of hosts.
#pragma once

#include "WdchHelper.h"

class CEngineHosFCommon final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

  private:
    std::int32_t readSettings(void* data, std::uint64_t* size);
    std::int32_t writeSettings(void* data, std::uint64_t size);
    std::int32_t findList(const void* data, std::string& path);
    std::int32_t readList(void* data, std::uint64_t* size);
    std::int32_t writeList(void* data, std::uint64_t size);
};

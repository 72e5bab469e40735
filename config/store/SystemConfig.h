// The record of the service itself, WdchSystemData, at (10000, 0, any): the values of the base key, and the list of the
// protocol handlers that are on. The config type is ignored.
#pragma once

#include "WdchHelper.h"

#include <wdltcfg/records.h>

class CSystemConfig final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    // WDLT_E_BUFFER_SIZE with the size needed for any other size, WDLT_E_INVALID_ARGUMENT without data; else 0: a value
    // that can't be read takes its default.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    // The handler list and the two read-only settings are left as stored, whatever the record holds.
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;

  private:
    void readHandlerList(WdchSystemData& record);
    bool readHandlerNumber(const std::string& section, const char* name, DWORD& number);
};

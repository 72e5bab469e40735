// Reads and writes a CCfgData through the configuration interface.
#pragma once

#include "CfgData.h"
#include "CfgIF.h"

class CCfg {
  public:
    CCfg() = default;
    virtual ~CCfg() = default;
    CCfg(const CCfg&) = delete;
    CCfg& operator=(const CCfg&) = delete;

    // WDLT_E_INVALID_ARGUMENT for null (logged).
    [[nodiscard]] std::int32_t SetInterface(CCfgIF* cfgIF);

    // Reads the record at the address of `cfgData` into it. `size`: the record's, if known; 0 asks for it first, and a
    // record that grows in between fails with WDLT_E_BUFFER_SIZE. `initial`: `size` bytes that the record's helper
    // finds in its buffer, or null. WDLT_E_INVALID_ARGUMENT without an interface, WDLT_E_NO_MEMORY when memory is
    // exhausted, else the helper's status.
    [[nodiscard]] std::int32_t Read(CCfgData& cfgData, std::uint64_t size, const void* initial) {
        return Read(cfgData, size, initial, initial != nullptr ? size : 0);
    }
    // The same with only the first `initialSize` bytes given; the rest is 0.
    [[nodiscard]] std::int32_t Read(CCfgData& cfgData, std::uint64_t size, const void* initial,
                                    std::uint64_t initialSize);
    [[nodiscard]] std::int32_t Read(CCfgData& cfgData) { return Read(cfgData, 0, nullptr); }
    [[nodiscard]] std::int32_t Write(const CCfgData& cfgData);

  private:
    bool isReady() const;

    CCfgIF* m_cfgIF = nullptr; // not owned
};

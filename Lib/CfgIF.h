// The interface through which the access objects reach the settings. All operations are those of the configuration
// manager; the forms without an input pass 0.
#pragma once

#include <cstdint>

class CCfgIF {
  public:
    CCfgIF() = default;
    CCfgIF(const CCfgIF&) = delete;
    CCfgIF& operator=(const CCfgIF&) = delete;

    // In vtable order.
    virtual bool IsInitialized() = 0;
    [[nodiscard]] virtual std::int32_t ReadConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                                    std::uint64_t configType, void* data, std::uint64_t* size) = 0;
    [[nodiscard]] virtual std::int32_t ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType,
                                                  void* data, std::uint64_t* size) = 0;
    [[nodiscard]] virtual std::int32_t WriteConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                                     std::uint64_t configType, void* data, std::uint64_t size) = 0;
    [[nodiscard]] virtual std::int32_t WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType,
                                                   void* data, std::uint64_t size) = 0;
    virtual ~CCfgIF() = default;
};

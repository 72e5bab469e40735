// The exported functions: forwarders of one line, each through the gate and on to its operation of CConfigControl. No
// test of arguments and no state here; locks are taken behind them.
#include "ConfigControl.h"
#include "ExportGate.h"

#define WDLTCFG_API __attribute__((visibility("default")))
#include <wdltcfg/wdltcfg.h>

#include <cstdint>
#include <utility>

namespace {

// Calls the operation inside the gate; WDLT_E_GENERAL when the library isn't attached.
template <class Result, class... Parameters, class... Arguments>
Result forward(Result (CConfigControl::*operation)(Parameters...), Arguments&&... arguments) {
    const wdlt::ExportCall control;
    return control ? (control.operator->()->*operation)(std::forward<Arguments>(arguments)...) : WDLT_E_GENERAL;
}

} // namespace

std::int32_t WdltReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType, void* data,
                            std::uint64_t* size) {
    return forward(&CConfigControl::ReadConfig, protocol, scan, WDLT_INPUT_NONE, configType, data, size);
}

std::int32_t WdltWriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType, void* data,
                             std::uint64_t size) {
    return forward(&CConfigControl::WriteConfig, protocol, scan, WDLT_INPUT_NONE, configType, data, size);
}

std::int32_t WdltReadConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                              void* data, std::uint64_t* size) {
    return forward(&CConfigControl::ReadConfig, protocol, scan, input, configType, data, size);
}

std::int32_t WdltWriteConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                               std::uint64_t configType, void* data, std::uint64_t size) {
    return forward(&CConfigControl::WriteConfig, protocol, scan, input, configType, data, size);
}

#define WDLT_OPERATION(name, operation, mode, caught, parameters, arguments, call)                                     \
    std::int32_t name parameters {                                                                                     \
        constexpr std::int32_t kRefusal = wdlt::refusalOf(#name);                                                      \
        const wdlt::ExportCall control;                                                                                \
        return control ? control->operation arguments : kRefusal;                                                      \
    }
#include "Operations.inc"

// Second names at the same address, for callers that know the HTTPS filter as a plug-in.
extern "C" std::int32_t WdltPluginReadConfig(WdltHttpsConfig*) __attribute__((alias("WdltHttpsReadConfig")));
extern "C" std::int32_t WdltPluginWriteConfig(const WdltHttpsConfig*) __attribute__((alias("WdltHttpsWriteConfig")));

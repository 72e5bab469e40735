// Calls of the exports, compared with reading or writing the same values directly in the registry.
#include "Support.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>
#include <wdltcfg/wdltcfg.h>

#include <array>
#include <cstring>

namespace {

constexpr const char* kBase = "SOFTWARE\\Halvermoor\\PLK\\Wardlet";

// Seven values of one key: what a read of the system record takes from the registry, without the library.
void registrySevenReads(benchmark::State& state) {
    constexpr std::array kNames{"ProxyPort", "InstallPath",     "TempPath",          "LogPath",
                                "DisableBm", "DefRedirectFlag", "TcpAutoTuningLevel"};
    for (auto _ : state)
        for (const char* name : kNames) {
            HKEY key = nullptr;
            std::array<BYTE, 260> data{};
            DWORD size = static_cast<DWORD>(data.size());
            RegOpenKeyExA(HKEY_LOCAL_MACHINE, kBase, 0, KEY_READ, &key);
            RegQueryValueExA(key, name, nullptr, nullptr, data.data(), &size);
            RegCloseKey(key);
            benchmark::DoNotOptimize(data);
        }
}

void systemRecordRead(benchmark::State& state) {
    WdchSystemData record;
    std::uint64_t size = sizeof record;
    for (auto _ : state)
        benchmark::DoNotOptimize(WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &record, &size));
}

void systemRecordWrite(benchmark::State& state) {
    WdchSystemData record;
    std::uint64_t size = sizeof record;
    WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &record, &size);
    for (auto _ : state) {
        ++record.proxyPort;
        benchmark::DoNotOptimize(WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &record, sizeof record));
    }
}

void registryOneWrite(benchmark::State& state) {
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, kBase, 0, KEY_ALL_ACCESS, &key);
    DWORD number = 0;
    for (auto _ : state) {
        ++number;
        RegSetValueExA(key, "Bench", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    }
    RegCloseKey(key);
}

BENCHMARK(registrySevenReads);
BENCHMARK(systemRecordRead);
BENCHMARK(registryOneWrite)->UseRealTime();
BENCHMARK(systemRecordWrite)->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    WdchSystemData record{};
    record.proxyPort = 6999;
    std::strcpy(record.installPath, "C:\\Wardlet\\");
    if (WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &record, sizeof record) != WDLT_OK)
        return 1;
    for (const char* handler : {"HTTP", "POP3", "SMTP"}) {
        HKEY key = nullptr;
        const DWORD one = 1;
        const std::string path = std::string(kBase) + "\\ProtocolHandler\\" + handler;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        RegSetValueExA(key, "Enable", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), sizeof one);
        RegSetValueExA(key, "Type", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), sizeof one);
        RegCloseKey(key);
    }
    return bench::run(argc, argv);
}

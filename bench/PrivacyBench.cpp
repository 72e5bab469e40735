// The privacy items: 32 of them written in 1, 8 and 30 charsets, read, and verified; compared with the parts that the
// work can't do without: converting each item to each charset, the cipher, replacing the file, and the registry values.
#include "CharSetConverter.h"
#include "EnginePDPCommon.h"
#include "PrivacyDatabase.h"
#include "PrivacySearchData.h"
#include "RegistryIO.h"
#include "Rijndael.h"
#include "Support.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/charsets.h>
#include <wdltcfg/status.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kItems = 32;
constexpr std::uint32_t kAllCharSets = 0x3FFFFFFF;
constexpr std::uint32_t kEightCharSets = WDLT_CHARSET_UCS_2 | WDLT_CHARSET_US_ASCII | WDLT_CHARSET_UTF_8 |
                                         WDLT_CHARSET_ISO_8859_1 | WDLT_CHARSET_ISO_2022_JP | WDLT_CHARSET_EUC_JP |
                                         WDLT_CHARSET_SHIFT_JIS | WDLT_CHARSET_UTF_16LE;
constexpr const char* kSystem = "SOFTWARE\\Halvermoor\\PLK\\Wardlet";
constexpr const char* kSettings = "SOFTWARE\\Halvermoor\\PLK\\Wardlet\\Scan\\Common\\PrivacyProtection\\config";

void demand(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(what);
}

void set(const char* key, const std::string& name, DWORD type, const void* data, std::size_t bytes) {
    HKEY handle = nullptr;
    demand(RegCreateKeyExA(HKEY_LOCAL_MACHINE, key, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, nullptr) == 0,
           "no key");
    demand(RegSetValueExA(handle, name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes)) ==
               0,
           "value unwritten");
    RegCloseKey(handle);
}
void setText(const char* key, const char* name, const std::string& text) {
    set(key, name, REG_SZ, text.c_str(), text.size() + 1);
}
void setNumber(const char* name, DWORD number) {
    set(kSettings, name, REG_DWORD, &number, sizeof number);
}

PrivacyViewItem itemOf(std::uint32_t index) {
    PrivacyViewItem item{};
    item.dwItemIndex = index;
    const std::string number = std::to_string(4000123 + index * 7919);
    std::string("Card ").append(std::to_string(index)).copy(item.szItemName, sizeof item.szItemName - 1);
    std::string("What must not leave the house").copy(item.szDescription, sizeof item.szDescription - 1);
    std::string("4711-").append(number).append("-0815").copy(item.szPrivacyData, sizeof item.szPrivacyData - 1);
    return item;
}

// Shared by all benchmarks of one run.
class Workbench {
  public:
    explicit Workbench(const fs::path& home) : m_folder(home) {
        setText(kSystem, "InstallPath", (m_folder / "").string());
        setText(kSystem, "TempPath", (m_folder / "").string());
        for (const auto& [name, number] : {std::pair<const char*, DWORD>{"CharSetEntry", kAllCharSets},
                                           {"ExtCharSetEntry", 0},
                                           {"DefaultCharSet", WDLT_CHARSET_UTF_8},
                                           {"AccessRetryCount", 0},
                                           {"AccessWaitTime", 0},
                                           {"ItemEntryMax", kItems},
                                           {"ItemEntryCount", 0}})
            setNumber(name, number);
        setText(kSettings, "DataBaseName", "pdp.db");
        setText(kSettings, "BackUpDBName", "pdp.bak");
        PrivacyDBHeader header{};
        std::memcpy(header.szMagic, "__PRIVACY_DATA_PROTECTION__", sizeof header.szMagic);
        std::memcpy(header.szVersion, "01.01.00", sizeof header.szVersion);
        std::ofstream file(m_folder / "pdp.db", std::ios::binary);
        file.write(reinterpret_cast<const char*>(&header), sizeof header);
        file.write("\0\0\0\0\0\0\0\0", 8);
        for (std::uint32_t i = 0; i < kItems; ++i)
            items.push_back(itemOf(i));
    }

    static std::unique_ptr<CEnginePDPCommon> helper() {
        const HelperAddress address{WDLT_PROTOCOL_COMMON, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE};
        return std::make_unique<CEnginePDPCommon>(address, std::make_unique<CRegistryIO>());
    }
    void write(std::uint32_t charSets) const {
        PrivacyControlData control{charSets, 0, WDLT_CHARSET_UTF_8, 0, 0, kItems, kItems, "pdp.db", "pdp.bak"};
        std::vector<char> buffer(sizeof control + items.size() * sizeof items[0]);
        std::memcpy(buffer.data(), &control, sizeof control);
        std::memcpy(buffer.data() + sizeof control, items.data(), items.size() * sizeof items[0]);
        demand(helper()->WriteConfig(WDLT_CONFIG_PRIVACY_ITEMS, buffer.data(), buffer.size()) == WDLT_OK,
               "items unwritten");
    }
    static void read(std::uint64_t type) {
        static std::vector<char> buffer;
        std::uint64_t size = 0;
        demand(helper()->ReadConfig(type, nullptr, &size) == WDLT_E_BUFFER_SIZE, "no size");
        buffer.resize(size);
        demand(helper()->ReadConfig(type, buffer.data(), &size) == WDLT_OK, "unread");
    }
    void verify() const {
        std::array<std::uint32_t, kItems> results{};
        demand(helper()->VerifyItems(items.data(), kItems, results.data()) == WDLT_OK, "not tried out");
    }

    // The conversions alone, with loading and starting the charset library.
    void convert(std::uint32_t charSets) const {
        CCharSetConverter converter;
        demand(converter.Initialize() == WDLT_OK, "no charset library");
        std::array<char, 128> output{};
        for (const PrivacyViewItem& item : items)
            for (std::uint32_t bit = 1; bit != 0; bit <<= 1)
                if ((charSets & bit) != 0)
                    benchmark::DoNotOptimize(
                        converter.ConvertResource(output.data(), item.szPrivacyData,
                                                  wdlt::PrivacyDatabase::GetEnumCharSetType(WDLT_CHARSET_UTF_8),
                                                  wdlt::PrivacyDatabase::GetEnumCharSetType(bit), 128));
        converter.UnInitialize();
    }
    static void startConverter() {
        CCharSetConverter converter;
        demand(converter.Initialize() == WDLT_OK, "no charset library");
        converter.UnInitialize();
    }
    // Enciphers or deciphers the patterns of all items.
    static void cipher(int direction, std::uint32_t records) {
        std::array<std::uint8_t, 128> from{};
        std::array<std::uint8_t, 144> to{};
        const std::int32_t bytes = direction == Rijndael::kEncrypt ? 112 : 128;
        if (direction == Rijndael::kDecrypt) {
            Rijndael other;
            other.Init(Rijndael::kCbc, Rijndael::kEncrypt, wdlt::kPrivacyKey.data(), Rijndael::kKey16Bytes);
            demand(other.PadEncrypt(to.data(), 112, from.data()) == bytes, "not enciphered");
        }
        for (std::uint32_t i = 0; i < records; ++i) {
            Rijndael cipher;
            cipher.Init(Rijndael::kCbc, direction, wdlt::kPrivacyKey.data(), Rijndael::kKey16Bytes);
            const std::int32_t done = direction == Rijndael::kEncrypt
                                          ? cipher.PadEncrypt(from.data(), bytes, to.data())
                                          : cipher.PadDecrypt(from.data(), bytes, to.data());
            demand(done > 0, "cipher");
        }
    }
    // Only the backup, the new file and the replacement, at the same size.
    void putInPlace(std::uint32_t charSets) const {
        const std::string bytes(72 + std::size_t{kItems} * static_cast<unsigned>(std::popcount(charSets)) * 140, 'x');
        const fs::path file = m_folder / "plain.db";
        const fs::path backup = m_folder / "plain.bak";
        if (!fs::exists(file))
            std::ofstream(file, std::ios::binary) << bytes;
        demand(CopyFileA(file.c_str(), backup.c_str(), FALSE) != FALSE, "no copy");
        std::array<char, MAX_PATH> name{};
        demand(GetTempFileNameA((m_folder / "").c_str(), "pdp", 0, name.data()) != 0, "no name");
        HANDLE opened = CreateFileA(name.data(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        demand(WriteFile(opened, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != FALSE,
               "unwritten");
        CloseHandle(opened);
        demand(ReplaceFileA(file.c_str(), name.data(), nullptr, 1, nullptr, nullptr) != FALSE, "not replaced");
        DeleteFileA(backup.c_str());
    }
    // Writes as many values as the items have, in one transaction.
    static void writeValues() {
        static DWORD number = 0;
        ++number;
        RegistryBatch batch;
        for (std::uint32_t i = 0; i < kItems * 5 + 1; ++i)
            set("SOFTWARE\\Bench", std::string("Value").append(std::to_string(i)), REG_DWORD, &number, sizeof number);
        demand(batch.end() == 0, "values unwritten");
    }

    std::vector<PrivacyViewItem> items;

  private:
    const fs::path m_folder;
};

void add(const std::string& name, const std::function<void()>& step) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        for (auto _ : state)
            step();
    })->UseRealTime();
}

} // namespace

int main(int argc, char** argv) try {
    const bench::Home home("disk");
    const Workbench bench(home.path());
    bench.write(kAllCharSets);
    add("readSearch", [] { Workbench::read(WDLT_CONFIG_PRIVACY_SEARCH); });
    add("readItems", [] { Workbench::read(WDLT_CONFIG_PRIVACY_ITEMS); });
    for (const auto& [name, charSets] : {std::pair<const char*, std::uint32_t>{"1", WDLT_CHARSET_UTF_8},
                                         {"8", kEightCharSets},
                                         {"30", kAllCharSets}}) {
        const std::uint32_t mask = charSets;
        add(std::string("writeItems") + name, [&bench, mask] { bench.write(mask); });
        add(std::string("convert") + name, [&bench, mask] { bench.convert(mask); });
        add(std::string("putInPlace") + name, [&bench, mask] { bench.putInPlace(mask); });
    }
    add("writeValues", Workbench::writeValues);
    add("startConverter", Workbench::startConverter);
    add("encipher960", [] { Workbench::cipher(Rijndael::kEncrypt, kItems * 30); });
    add("decipher960", [] { Workbench::cipher(Rijndael::kDecrypt, kItems * 30); });
    add("verifyItems", [&bench] { bench.verify(); });
    return bench::run(argc, argv);
} catch (const std::exception& error) {
    std::fprintf(stderr, "privacy_bench: %s\n", error.what());
    return 1;
}

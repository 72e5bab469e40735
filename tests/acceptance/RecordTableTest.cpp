// Checks the library against what the public header's table promises for every record; and the log lines of refusals.
#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "PrivacyFiles.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace {

// A row's promise for reading or for writing; size 0: not possible.
struct Promise {
    std::uint64_t size = 0;
    bool takesMore = false;
    bool isHead = false;
    std::int32_t withoutData = 0;
    std::int32_t otherSize = 0;
};

class RecordTable : public privacy_files::PrivacyTest {
  protected:
    RecordTable() {
        for (const std::uint32_t type : {1u, 2u, 3u}) {
            const std::string key = "ProtocolHandler\\" + std::to_string(type);
            tree::setNumber(key, "Type", type);
            tree::setText(key, "Scan", "S");
        }
        tree::setText("Scan\\Common\\MailManager\\config", "AddressCacheFile", "cache.dat");
        const std::uint32_t none = 0;
        EXPECT_EQ(WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_MAIL_ADDRESS_CACHE,
                                                      const_cast<std::uint32_t*>(&none), sizeof none),
                  WDLT_OK);
    }

    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(RecordTable, EachRowIsSo) {
    const std::string half = R"(\s+(?:(>=)?(\d+)(\+)?|-)\s+(-\d?)\s+(-\d?))";
    const std::regex row(R"(\n +(\w+) +\((\w+)(?: \+ p)?, (\w+)\)(?:, input (\d))?(?:, type (\d+))?)" + half +
                         R"(\s+(yes|no|-))" + half + "(?=\n)");
    std::ifstream file(WDLT_HEADER);
    const std::string header(std::istreambuf_iterator<char>(file), {});
    const auto promised = [](const std::smatch& match, std::size_t first) {
        Promise promise;
        if (match[first + 1].matched)
            promise = {std::stoull(match[first + 1]), match[first].matched, match[first + 2].matched,
                       std::stoi(match[first + 3]), std::stoi(match[first + 4])};
        return promise;
    };
    const auto number = [](const std::string& text, std::uint64_t letter) {
        return text.empty() ? 0 : std::isdigit(text[0]) != 0 ? std::stoull(text, nullptr, 0) : letter;
    };
    std::vector<char> buffer(1042010, 1);
    int rows = 0;
    for (std::sregex_iterator at(header.begin(), header.end(), row), end; at != end; ++at, ++rows) {
        const std::smatch& match = *at;
        SCOPED_TRACE(match.str());
        const bool isHandler = match.str().find(" + p") != std::string::npos;
        const auto protocol = static_cast<std::uint32_t>(number(match[2], 1) + (isHandler ? 1 : 0));
        const auto scan = static_cast<std::uint32_t>(number(match[3], WDLT_SCAN_SAL));
        const auto input = static_cast<std::uint32_t>(number(match[4], 0));
        const std::uint64_t type = number(match[5], 0);
        const auto read = [&](bool withData, std::uint64_t size) {
            const std::uint64_t given = size;
            const std::int32_t status = WDLT_CALL(library, WdltReadConfigEx)(
                protocol, scan, input, type, withData ? buffer.data() + 1 : nullptr, &size);
            EXPECT_TRUE(status == WDLT_OK || (size != given) == (status == WDLT_E_BUFFER_SIZE)) << size;
            return std::pair(status, size);
        };
        const auto write = [&](bool withData, std::uint64_t size) {
            return WDLT_CALL(library, WdltWriteConfigEx)(protocol, scan, input, type,
                                                         withData ? buffer.data() + 1 : nullptr, size);
        };
        const Promise reads = promised(match, 6);
        if (reads.size != 0) {
            const auto isNeeded = [&](std::uint64_t size) {
                return reads.isHead ? size >= reads.size : size == reads.size;
            };
            std::ranges::fill(buffer, '\1');
            EXPECT_EQ(read(false, reads.size).first, reads.withoutData);
            const auto [status, needed] = read(true, reads.size - 1);
            EXPECT_EQ(status, reads.otherSize);
            EXPECT_TRUE(reads.takesMore || std::ranges::count(buffer, '\1') == std::ssize(buffer));
            EXPECT_TRUE(status != WDLT_E_BUFFER_SIZE || isNeeded(needed)) << needed;
            const auto [asked, told] = read(false, 0);
            EXPECT_EQ(asked == WDLT_E_BUFFER_SIZE, match[11] == "yes");
            EXPECT_TRUE(asked != WDLT_E_BUFFER_SIZE || isNeeded(told)) << told;
            std::ranges::fill(buffer, '\0');
            const std::uint64_t more = (asked == WDLT_E_BUFFER_SIZE ? told : reads.size) + 1;
            EXPECT_EQ(read(true, more).first == reads.otherSize, !reads.takesMore);
        }
        const Promise writes = promised(match, 12);
        if (writes.size != 0) {
            EXPECT_EQ(write(false, writes.size), writes.withoutData);
            EXPECT_EQ(write(true, writes.size - 1), writes.otherSize);
            std::ranges::fill(buffer, '\0');
            EXPECT_EQ(write(true, writes.size + 1) == writes.otherSize, !writes.takesMore);
        } else {
            EXPECT_EQ(write(true, 16), WDLT_E_INVALID_ARGUMENT);
        }
    }
    EXPECT_EQ(rows, 45);
}

TEST_F(RecordTable, LinesOfOtherSizesAndTypes) {
    constexpr std::int32_t kNoType = WDLT_E_INVALID_ARGUMENT;
    const struct {
        std::uint32_t protocol, scan;
        std::uint64_t type, size;
        const char* read;
        const char* written;
        std::int32_t status = 0; // 0: any error; the table says which
    } cases[] = {
        {10000, 0, 0, 863, "", "> WriteConfig size is invalid (863 / 864)"},
        {2, 0, 0, 15, "", "[WdltCfg.dll] WriteConfig size is invalid (15 / 16)"},
        {1, WDLT_SCAN_VIRUS, 0, 39, "", "> WriteConfig size is invalid (39 / 40)"},
        {0, WDLT_SCAN_VIRUS, 0, 275, "", "> WriteConfig size is invalid (275 / 276)"},
        {0, WDLT_SCAN_MAIL_MANAGER, 0, 1407, "ReadConfig: size error.", "WriteConfig: size error."},
        {0, WDLT_SCAN_ANTI_SPAM, 0, 103, "ReadCommonConfig: parameter size error", "WriteCommonConfig: parameter size"},
        {0, WDLT_SCAN_ANTI_SPAM, 1, 523, "ReadRulePathConfig: parameter size", "WriteRulePathConfig: parameter size"},
        {1, WDLT_SCAN_ANTI_SPAM, 0, 256559, "ReadConfig: parameter size error", "WriteConfig: parameter size error"},
        {0, WDLT_SCAN_MAIL_MANAGER, 2, 1408, "] ReadConfig invalid input : pInput=0x2",
         "] WriteConfig invalid input : pInput=0x2", kNoType},
        {0, WDLT_SCAN_HTTP_MANAGER, 0x1F, 4, "] ReadConfig invalid input : pInput=0x1f",
         "] WriteConfig invalid input : pInput=0x1f", kNoType},
        {0, WDLT_SCAN_ANTI_SPAM, 2, 104, "CEngineASpmCommon::ReadConfig(): invalid value (dwInput=2)",
         "CEngineASpmCommon::WriteConfig(): invalid value (dwInput=2)", kNoType},
        {0, WDLT_SCAN_URL_FILTER, 15, 4, "CEngineUrlFCommon::ReadConfig(): invalid value (dwInput=15)",
         "CEngineUrlFCommon::WriteConfig(): invalid value (dwInput=15", kNoType},
        {0, WDLT_SCAN_VIRUS, 2, 4, "CEngineSCANXCommon::ReadConfig(): invalid value (dwInput=2)",
         "CEngineSCANXCommon::WriteConfig(): invalid value (dwInput=2)", kNoType},
    };
    std::vector<char> buffer(256560);
    for (const auto& c : cases) {
        const FreshLog fresh;
        std::uint64_t size = c.size;
        const std::int32_t read = WDLT_CALL(library, WdltReadConfig)(c.protocol, c.scan, c.type, buffer.data(), &size);
        EXPECT_TRUE(c.status == 0 ? read < 0 : read == c.status) << c.read;
        EXPECT_TRUE(*c.read != '\0' ? library.logged(c.read) : !library.logged("!!! ")) << c.read;
        const std::int32_t written =
            WDLT_CALL(library, WdltWriteConfig)(c.protocol, c.scan, c.type, buffer.data(), c.size);
        EXPECT_TRUE(c.status == 0 ? written < 0 : written == c.status) << c.written;
        EXPECT_TRUE(library.logged(c.written)) << c.written;
    }
}

} // namespace

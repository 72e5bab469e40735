// wdltctl as a user runs it.
#include "RunProgram.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <wdltcfg/records.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kBase = "HKLM\\SOFTWARE\\Halvermoor\\PLK\\Wardlet";

ProgramResult wdltctl(std::vector<std::string> arguments, std::string_view input = {}) {
    arguments.insert(arguments.begin(), "wdltctl");
    return runProgram(arguments, input);
}

json wdltctlJson(std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    const auto result = wdltctl(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return json::parse(result.out, nullptr, false);
}

std::string queried(const std::string& key, const std::string& name) {
    return runProgram({"wdltreg", "query", kBase + key, name}).out;
}

std::string wholeTree() {
    return runProgram({"wdltreg", "export"}).out;
}

void expectRefused(const ProgramResult& result, int status, std::string_view words) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("wdltctl: "));
    EXPECT_THAT(result.err, HasSubstr(std::string(words)));
}

TEST(Wdltctl, InitLaysDownTheTreeThatTheLibraryReads) {
    const auto result = wdltctl({"init", "--install", "D:\\Guard\\"});
    ASSERT_EQ(result.status, 0) << result.err;
    const json expected = {{"proxyPort", 6999},
                           {"installPath", "D:\\Guard\\"},
                           {"tempPath", "D:\\Guard\\Temp\\"},
                           {"logPath", "D:\\Guard\\Log\\"},
                           {"bmFlag", 1},
                           {"handlerCount", 0},
                           {"handlerTypes", json::array()},
                           {"defRedirectFlag", 0},
                           {"tcpAutoTuningLevel", 2}};
    EXPECT_EQ(wdltctlJson({"get", "system"}), expected);

    // Each handler's Scan names the folder of its items, and everything that can be on is off.
    std::size_t items = 0;
    for (const std::string name : {"HTTP", "POP3", "SMTP"}) {
        EXPECT_EQ(queried("\\ProtocolHandler\\" + name, "Scan"), "REG_SZ " + name + "\n");
        EXPECT_EQ(queried("\\ProtocolHandler\\" + name, "Enable"), "REG_DWORD 0 (0x00000000)\n");
        const std::string folder = "\\Scan\\" + name + "\\";
        const std::string scan = runProgram({"wdltreg", "query", kBase + folder}).out;
        for (std::size_t begin = 0; begin < scan.size(); begin = scan.find('\n', begin) + 1) {
            const std::string item = scan.substr(begin + 1, scan.find(']', begin) - begin - 1);
            EXPECT_EQ(queried(folder + item, "Enable"), "REG_DWORD 0 (0x00000000)\n") << item;
            ++items;
        }
    }
    EXPECT_EQ(items, 20u);
}

TEST(Wdltctl, InitReplacesATreeOnlyByForce) {
    ASSERT_EQ(wdltctl({"init"}).status, 0);
    const std::string fresh = wholeTree();
    runProgram({"wdltreg", "set", kBase, "ProxyPort", "dword", "1"});
    runProgram({"wdltreg", "set", std::string(kBase) + "\\Extra", "n", "sz", "x"});
    const std::string changed = wholeTree();
    expectRefused(wdltctl({"init"}), 1, "there already; --force replaces it");
    EXPECT_EQ(wholeTree(), changed);
    EXPECT_EQ(wdltctlJson({"init", "--force"})["installPath"], "C:\\Program Files\\Wardlet\\");
    EXPECT_EQ(wholeTree(), fresh);

    for (const std::string directory : {"", "Guard", "D:Guard", "\\", "1:\\x"})
        expectRefused(wdltctl({"init", "--force", "--install", directory}), 2, "given in full");
    expectRefused(wdltctl({"init", "--force", "--install", "/" + std::string(255, 'd')}), 2, "at most 259 bytes");
    EXPECT_EQ(wholeTree(), fresh);
}

TEST(Wdltctl, GetShowsARecordAndAField) {
    const std::string install = (TestHome::instance().path() / "opt").string();
    ASSERT_EQ(wdltctl({"init", "--install", install}).status, 0);
    const auto record = wdltctl({"get", "system"});
    EXPECT_EQ(record.status, 0);
    EXPECT_THAT(record.out, HasSubstr("proxyPort           6999\ninstallPath         " + install + "\\\n"));
    EXPECT_EQ(wdltctl({"get", "system", "proxyPort"}).out, "6999\n");
    EXPECT_EQ(wdltctlJson({"get", "system", "logPath"}), json({{"logPath", install + "\\Log\\"}}));

    runProgram({"wdltreg", "set", std::string(kBase) + "\\ProtocolHandler\\HTTP", "Enable", "dword", "1"});
    runProgram({"wdltreg", "set", std::string(kBase) + "\\ProtocolHandler\\SMTP", "Enable", "dword", "1"});
    EXPECT_EQ(wdltctl({"get", "system", "handlerTypes"}).out, "3 2\n");
    EXPECT_EQ(wdltctlJson({"get", "system", "handlerCount"})["handlerCount"], 2);
}

TEST(Wdltctl, SetChangesTheFieldsNamedAndNoOthers) {
    ASSERT_EQ(wdltctl({"init"}).status, 0);
    const auto before = wdltctlJson({"get", "system"});
    const auto result = wdltctl({"set", "system", "proxyPort=0x1F90", "bmFlag=0", "logPath=E:\\\xC3\xA9=\\"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "");
    auto expected = before;
    expected["proxyPort"] = 8080;
    expected["bmFlag"] = 0;
    expected["logPath"] = "E:\\\xC3\xA9=\\";
    EXPECT_EQ(wdltctlJson({"get", "system"}), expected);
    EXPECT_EQ(queried("", "ProxyPort"), "REG_DWORD 8080 (0x00001f90)\n");
    EXPECT_EQ(queried("", "DisableBm"), "REG_DWORD 1 (0x00000001)\n");
    EXPECT_EQ(wdltctlJson({"set", "system", "bmFlag=1"}), json({{"bmFlag", 1}}));
}

TEST(Wdltctl, SetRefusesBeforeAnythingIsWritten) {
    ASSERT_EQ(wdltctl({"init"}).status, 0);
    const std::string before = wholeTree();
    const std::pair<std::string, std::string_view> cases[] = {
        {"handlerCount=1", "handlerCount: the field is read only"},
        {"tcpAutoTuningLevel=1", "read only"},
        {"proxyport=1", "no such field; there are proxyPort, installPath"},
        {"proxyPort", "FIELD=VALUE expected"},
        {"proxyPort=65536", "isn't a number from 0 to 65535"},
        {"proxyPort=", "isn't a number"},
        {"bmFlag=2", "isn't a number from 0 to 1"},
        {"tempPath=" + std::string(260, 'x'), "the text takes 260 bytes, 259 have room"},
    };
    for (const auto& [assignment, words] : cases)
        expectRefused(wdltctl({"set", "system", "proxyPort=1", assignment}), 2, words);
    expectRefused(wdltctl({"set", "sytem", "proxyPort=1"}), 2, "no such record; there is system");
    expectRefused(wdltctl({"get", "system", "port"}), 2, "no such field");
    EXPECT_EQ(wholeTree(), before);
}

TEST(Wdltctl, RawReadsTheWholeRecord) {
    ASSERT_EQ(wdltctl({"init"}).status, 0);
    const auto dump = wdltctl({"raw", "read", "10000", "0"});
    EXPECT_EQ(dump.status, 0) << dump.err;
    EXPECT_THAT(dump.out,
                StartsWith("00000000  57 1b 43 3a 5c 50 72 6f  67 72 61 6d 20 46 69 6c  |W.C:\\Program Fil|\n"));

    // Most of the record is unused bytes, given as one line.
    EXPECT_THAT(dump.out, HasSubstr("|................|\n*\n"));
    EXPECT_THAT(dump.out, testing::EndsWith("|................|\n00000360\n"));

    const auto document = wdltctlJson({"raw", "read", "0x2710", "0x0", "--input", "0x5", "--type", "7"});
    EXPECT_EQ(document["size"], sizeof(WdchSystemData));
    EXPECT_EQ(document["protocol"], 10000);
    EXPECT_EQ(document["input"], 5);
    EXPECT_THAT(document["data"].get<std::string>(), StartsWith("571b433a5c"));
    EXPECT_EQ(document["data"].get<std::string>().size(), 2 * sizeof(WdchSystemData));

    const std::string file = TestHome::instance().path() / "record";
    EXPECT_EQ(wdltctl({"raw", "read", "10000", "0", "--out", file}).out, "");
    const std::string bytes = TestHome::instance().read("record");
    EXPECT_EQ(bytes.size(), sizeof(WdchSystemData));
    EXPECT_EQ(wdltctl({"raw", "read", "10000", "0", "--out", "-"}).out, bytes);
}

TEST(Wdltctl, RawWritesARecordAsItIs) {
    ASSERT_EQ(wdltctl({"init"}).status, 0);
    std::string bytes = wdltctl({"raw", "read", "10000", "0", "--out", "-"}).out;
    ASSERT_EQ(bytes.size(), sizeof(WdchSystemData));
    bytes[0] = 0x34;
    bytes[1] = 0x12;
    EXPECT_EQ(wdltctl({"raw", "write", "10000", "0", "-"}, bytes).status, 0);
    EXPECT_EQ(wdltctl({"get", "system", "proxyPort"}).out, "4660\n");
    bytes[0] = 0x35;
    const std::string file = TestHome::instance().write("record", bytes);
    EXPECT_EQ(wdltctlJson({"raw", "write", "10000", "0", file})["size"], sizeof(WdchSystemData));
    EXPECT_EQ(wdltctl({"get", "system", "proxyPort"}).out, "4661\n");
}

TEST(Wdltctl, StatusesOfTheLibraryAreNamed) {
    ASSERT_EQ(wdltctl({"init"}).status, 0);
    const std::string before = wholeTree();
    expectRefused(wdltctl({"raw", "read", "10000", "0", "--size", "863"}), 1, "status -2 (buffer size");
    expectRefused(wdltctl({"raw", "read", "10000", "0", "--size", "863"}), 1, ": the record takes 864 bytes");
    expectRefused(wdltctl({"raw", "read", "4", "0"}), 1, "status -1 (general failure)");
    expectRefused(wdltctl({"raw", "write", "10000", "0", "-"}, "short"), 1,
                  "status -1 (general failure): the file has 5 bytes");
    expectRefused(wdltctl({"raw", "write", "10000", "0", "no/such/file"}), 1, "No such file");
    EXPECT_EQ(wholeTree(), before);
}

TEST(Wdltctl, WrongUsageIsStatus2) {
    const std::vector<std::string> cases[] = {
        {},
        {"verb"},
        {"raw"},
        {"raw", "read", "10000"},
        {"raw", "read", "10000x", "0"},
        {"raw", "read", "4294967296", "0"},
        {"raw", "read", "10000", "0", "--type", "-1"},
        {"raw", "read", "10000", "0", "--size", "99999999999"},
        {"raw", "read", "10000", "0", "--json", "--out", "-"},
        {"raw", "write", "10000", "0"},
        {"get"},
        {"set", "system"},
        {"init", "extra"},
    };
    for (const auto& arguments : cases) {
        const auto result = wdltctl(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("wdltctl: "));
    }
    EXPECT_THAT(wdltctl({"set", "--help"}).out, HasSubstr("proxyPort"));
}

} // namespace

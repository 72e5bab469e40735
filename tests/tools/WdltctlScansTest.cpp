// wdltctl's records of the scans, the handlers and the HTTP manager: every field that can be set, set and shown again.
#include "RunProgram.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace {

using json = nlohmann::json;
using testing::HasSubstr;

ProgramResult wdltctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "wdltctl");
    return runProgram(arguments);
}

class WdltctlScans : public testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(wdltctl({"init", "--force"}).status, 0); }

    static json get(std::vector<std::string> record) {
        record.insert(record.begin(), {"get"});
        record.emplace_back("--json");
        return json::parse(wdltctl(record).out);
    }
};

TEST_F(WdltctlScans, EveryFieldIsSetAndShown) {
    const std::vector<std::string> records[] = {
        {"pvs"},  {"svs"},           {"wmvs"},           {"hfs-virus"},    {"hfs"},
        {"hfe"},  {"virus", "smtp"}, {"virus", "files"}, {"virus-common"}, {"pop3"},
        {"smtp"}, {"http"},          {"http-manager"},   {"web-mail"},
    };
    for (const std::vector<std::string>& record : records) {
        SCOPED_TRACE(record.back());
        json expected = get(record);
        std::vector<std::string> assignments{"set"};
        assignments.insert(assignments.end(), record.begin(), record.end());
        for (auto& [name, value] : expected.items()) {
            if (name == "dwMultiInfection" || name == "dwReqSockOptSndBuf" || name == "dwEngineType")
                continue; // read only
            if (value.is_array())
                value = json::array({"A", "BC"});
            else if (value.is_string())
                value = name == "szPatternPath" ? "C:\\P\\" : "new.txt";
            else if (value == 0 || value == 1)
                value = 1 - value.get<int>();
            else
                value = value.get<unsigned>() - 1;
            if (name == "dwZipLayer")
                value = 4;
            const std::string text = value.is_array()    ? "A,BC"
                                     : value.is_string() ? value.get<std::string>()
                                                         : value.dump();
            assignments.push_back(name + "=" + text);
        }
        EXPECT_EQ(wdltctl(assignments).status, 0);
        EXPECT_EQ(get(record), expected);
    }
    EXPECT_THAT(wdltctl({"set", "virus", "smtp", "dwMultiInfection=1"}).err, HasSubstr("read only"));
    EXPECT_THAT(wdltctl({"get", "virus", "imap"}).err, HasSubstr("no such place; there are pop3, smtp, http, files"));
}

// One limit that two records show.
TEST_F(WdltctlScans, TheLimitOfWebMailIsTheManagers) {
    EXPECT_EQ(wdltctl({"set", "wmvs", "dwLimitSize=700000"}).status, 0);
    EXPECT_EQ(get({"http-manager"})["dwMaxWebMailScanSize"], 655359);
    EXPECT_EQ(get({"web-mail"})["dwMaxWebMailScanSize"], 655359);
}

TEST_F(WdltctlScans, TheEventsOfPluginsAreSwitched) {
    EXPECT_EQ(wdltctl({"enable", "hfe-plugin"}).out, "hfe-plugin: on\n");
    EXPECT_EQ(wdltctl({"enable", "hfe-plugin"}).out, "hfe-plugin is on already\n");
    EXPECT_EQ(wdltctl({"disable", "hfe-plugin"}).out, "hfe-plugin: off\n");
}

} // namespace

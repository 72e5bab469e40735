// wdltctl's verbs for the HTTPS filter, the plug-in manager, browsers, DRS and SAL, as a user runs them.
#include "RunProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr const char* kWhiteList = "HKLM\\SOFTWARE\\Halvermoor\\PLK\\Wardlet\\PluginManager\\DRS\\WhiteList";

ProgramResult wdltctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "wdltctl");
    return runProgram(arguments);
}

std::string done(std::vector<std::string> arguments) {
    const auto result = wdltctl(arguments);
    EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments) << result.err;
    return result.out;
}

json doneJson(std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    return json::parse(done(arguments), nullptr, false);
}

bool isOn(const std::string& feature) {
    return doneJson({"status"})["features"][feature]["enabled"] == true;
}

std::string wholeTree() {
    return runProgram({"wdltreg", "export"}).out;
}

struct Refused {
    std::vector<std::string> arguments;
    int status;
    const char* words;
};

template <std::size_t Count>
void expectRefused(const Refused (&cases)[Count]) {
    const std::string before = wholeTree();
    for (const Refused& each : cases) {
        const auto result = wdltctl(each.arguments);
        EXPECT_EQ(result.status, each.status) << testing::PrintToString(each.arguments);
        EXPECT_THAT(result.err, HasSubstr(each.words));
        EXPECT_EQ(wholeTree(), before) << testing::PrintToString(each.arguments);
    }
}

class WdltctlWeb : public testing::Test {
  protected:
    WdltctlWeb() { done({"init"}); }
};

TEST_F(WdltctlWeb, WhatAFeatureNeedsIsToldWithIt) {
    EXPECT_EQ(done({"enable", "https"}),
              "URLFilter of HTTP: on\nhandler HTTP: on\nplugin-manager: on\nHttpsFilter of HTTP: on\n");
    EXPECT_EQ(done({"enable", "https"}), "https is on already\n");
    EXPECT_EQ(done({"enable", "drs"}), "drs: on\n");
    done({"set", "https-flags", "enable=0x7"});
    EXPECT_EQ(done({"disable", "https"}), "HttpsFilter of HTTP: off\nhandler HTTP stays on: URLFilter on\n");
    EXPECT_EQ(done({"get", "https-flags", "enable"}), "6\n");
    EXPECT_FALSE(isOn("https"));
    EXPECT_TRUE(isOn("plugin-manager"));

    EXPECT_EQ(done({"disable", "plugin-manager"}), "plugin-manager: off\n");
    EXPECT_EQ(done({"disable", "drs"}), "drs: off\n");
    EXPECT_EQ(doneJson({"enable", "drs"}), json({{"feature", "drs"},
                                                 {"status", 0},
                                                 {"changed", {{"plugin-manager", "on"}, {"drs", "on"}}},
                                                 {"staying", json::array()}}));

    // A tree without the plug-in manager's values: what came before the failure is told.
    runProgram({"wdltreg", "delete", "HKLM\\SOFTWARE\\Halvermoor\\PLK\\Wardlet\\PluginManager", "filename"});
    done({"disable", "urlf"});
    const auto result = wdltctl({"enable", "https"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "URLFilter of HTTP: on\nhandler HTTP: on\n");
    EXPECT_THAT(result.err, HasSubstr("status -9"));
    EXPECT_EQ(doneJson({"status"})["features"]["plugin-manager"]["enabled"], nullptr);
}

TEST_F(WdltctlWeb, SwitchesThatAreNoItems) {
    const std::string fresh = wholeTree();
    for (const std::string name : {"hfe-plugin", "plugin-manager", "ie", "firefox", "chrome"}) {
        const bool wasOn = isOn(name);
        const std::string there = wasOn ? "disable" : "enable";
        const std::string back = wasOn ? "enable" : "disable";
        EXPECT_EQ(done({there, name}), name + (wasOn ? ": off\n" : ": on\n"));
        EXPECT_EQ(isOn(name), !wasOn);
        EXPECT_EQ(done({there, name}), name + " is " + (wasOn ? "off" : "on") + " already\n");
        done({back, name});
        EXPECT_EQ(isOn(name), wasOn);
    }
    EXPECT_EQ(done({"enable", "drs-white-list", "--option", "5"}), "drs-white-list: on\n");
    EXPECT_EQ(runProgram({"wdltreg", "query", kWhiteList, "Option"}).out, "REG_DWORD 5 (0x00000005)\n");
    EXPECT_EQ(done({"disable", "drs-white-list"}), "drs-white-list: off\n");
    EXPECT_EQ(runProgram({"wdltreg", "query", kWhiteList, "Option"}).out, "REG_DWORD 0 (0x00000000)\n");
    const Refused cases[] = {
        {{"enable", "ie", "--option", "1"}, 2, "--option: ie has none"},
        {{"enable", "opera"}, 2, "no such feature"},
        {{"enable", "drs", "--protocol", "http"}, 2, "http: drs has no such protocol"},
    };
    expectRefused(cases);
}

TEST_F(WdltctlWeb, RecordsAreReadAndSet) {
    EXPECT_EQ(doneJson({"get", "https"}), json({{"enable", 0},
                                                {"HostFilterAlertFile", "HostFAlert.htm"},
                                                {"HostFilterErrorFile", "HostFError.htm"},
                                                {"PrivacyDataAlertFile", "PrivAlert.htm"},
                                                {"UrlFilterAlertFile", "UrlFAlert.htm"},
                                                {"UrlFilterCredAlertFile", "UrlFCredAlert.htm"}}));
    const struct {
        const char* record;
        const char* field;
        const char* value;
    } cases[] = {
        {"https", "UrlFilterAlertFile", "other.htm"},
        {"plugin-manager", "szFilename", "New.dll"},
        {"plugin-manager", "dwEnable", "1"},
        {"drs", "ActionMode", "0"},
        {"drs", "ScoreThreshold", "100"},
        {"sal", "dwTakeAction", "1"},
        {"sal", "szBlockImages", "a.png;b.gif"},
        {"sal", "dwEnable", "1"},
    };
    for (const auto& each : cases) {
        done({"set", each.record, std::string(each.field) + "=" + each.value});
        EXPECT_EQ(done({"get", each.record, each.field}), std::string(each.value) + "\n");
    }
    EXPECT_TRUE(isOn("sal"));
    EXPECT_EQ(doneJson({"get", "sal"}), json({{"dwEnable", 1},
                                              {"dwQueryIP", 0},
                                              {"dwTakeAction", 1},
                                              {"dwAddandScanMode", 0},
                                              {"szBlockImages", "a.png;b.gif"}}));
    const Refused refusals[] = {
        {{"set", "drs", "ScoreThreshold=101"}, 2, "from 0 to 100"},
        {{"set", "drs", "ActionMode=2"}, 2, "from 0 to 1"},
        {{"set", "aspm", "dwLevel=3"}, 2, "from 0 to 2"},
        {{"set", "sal", "dwQueryIP=2"}, 2, "from 0 to 1"},
        {{"set", "plugin-manager", "szFilename=" + std::string(260, 'x')}, 2, "259 have room"},
    };
    expectRefused(refusals);
}

TEST_F(WdltctlWeb, RulesComeAndGo) {
    EXPECT_EQ(done({"list", "rules"}), "INDEX  RULE  PROCESS  DOMAIN\n");
    done({"add", "rules", "Bank", "--index", "2", "--process", "bank.exe", "--domain", "*.bank.example"});
    done({"add", "rules", "\xC3\x89t\xC3\xA9"});
    EXPECT_EQ(doneJson({"add", "rules", "third"}), json({{"index", 3}, {"rule", "third"}}));
    EXPECT_EQ(done({"list", "rules"}), "INDEX  RULE   PROCESS   DOMAIN\n"
                                       "2      Bank   bank.exe  *.bank.example\n"
                                       "3      third\n"
                                       "1      \xC3\x89t\xC3\xA9\n");
    EXPECT_EQ(doneJson({"list", "rules"})[0],
              json({{"index", 2}, {"rule", "Bank"}, {"process", "bank.exe"}, {"domain", "*.bank.example"}}));
    const Refused cases[] = {
        {{"add", "rules", "bank"}, 1, "there is a rule bank already"},
        {{"add", "rules", "new", "--index", "3"}, 1, "index 3 is that of third"},
        {{"add", "rules", "new", "--index", "1001"}, 2, "--index"},
        {{"add", "rules", "new", "--index", "0"}, 2, "--index"},
        {{"add", "rules", ""}, 2, "RULE"},
        {{"add", "rules", "a\\b"}, 2, "RULE: 1 to 199 characters"},
        {{"add", "rules", std::string(200, 'r')}, 2, "RULE: at most 199 characters"},
        {{"add", "rules", "new", "--process", std::string(300, 'p')}, 2, "--process: at most 299 characters"},
        {{"add", "rules", "new", "--domain", std::string(256, 'd')}, 2, "--domain: at most 255 characters"},
        {{"remove", "rules"}, 2, "rules are needed, or --all"},
        {{"remove", "rules", "Bank", "--all"}, 2, "rules are needed, or --all"},
        {{"remove", "rules", "1", "nobody"}, 1, "nobody: no such rule"},
        {{"import", "rules", "-"}, 2, ""},
    };
    expectRefused(cases);
    done({"remove", "rules", "BANK", "1"});
    EXPECT_EQ(doneJson({"list", "rules"}).size(), 1u);
    done({"remove", "rules", "--all"});
    EXPECT_EQ(doneJson({"list", "rules"}), json::array());
}

} // namespace

// wdltctl's verbs for features, handlers and redirects, as a user runs them.
#include "RunProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

ProgramResult wdltctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "wdltctl");
    return runProgram(arguments);
}

json wdltctlJson(std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    const auto result = wdltctl(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return json::parse(result.out, nullptr, false);
}

std::string done(std::vector<std::string> arguments) {
    const auto result = wdltctl(arguments);
    EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments) << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
}

void expectFailed(const std::vector<std::string>& arguments, int status, std::string_view words) {
    const auto result = wdltctl(arguments);
    EXPECT_EQ(result.status, status) << testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("wdltctl: "));
    EXPECT_THAT(result.err, HasSubstr(std::string(words)));
}

std::string wholeTree() {
    return runProgram({"wdltreg", "export"}).out;
}

json handlerState(const std::string& name) {
    const json status = wdltctlJson({"status"});
    for (const json& handler : status["handlers"])
        if (handler["name"] == name)
            return handler;
    return nullptr;
}

struct FeatureCase {
    const char* feature;
    const char* item;
    const char* handler;
};

constexpr FeatureCase kFeatures[] = {
    {"pvs", "Virus", "POP3"},        {"svs", "Virus", "SMTP"},         {"wmvs", "Virus", "HTTP"},
    {"hfs", "HttpFileScan", "HTTP"}, {"urlf", "URLFilter", "HTTP"},    {"hosf", "HostFilter", "HTTP"},
    {"aspm", "AntiSpam", "POP3"},    {"hfe", "NetworkEvents", "HTTP"}, {"sal", "SAL", "HTTP"},
};

TEST(WdltctlSwitch, SwitchesEachFeatureOnAndOff) {
    ASSERT_EQ(done({"init"}).empty(), false);
    const std::string before = wholeTree();
    for (const auto& [feature, item, handler] : kFeatures) {
        const std::string itemOf = std::string(item) + " of " + handler;
        const std::string handlerNamed = std::string("handler ") + handler;
        EXPECT_EQ(done({"enable", feature}), itemOf + ": on\n" + handlerNamed + ": on\n");
        EXPECT_EQ(done({"enable", feature}), std::string(feature) + " is on already\n");

        const json status = wdltctlJson({"status"});
        for (const auto& each : kFeatures)
            EXPECT_EQ(status["features"][each.feature]["enabled"], std::string_view(each.feature) == feature)
                << each.feature << " after " << feature;
        EXPECT_EQ(handlerState(handler)["enabled"], true);
        EXPECT_EQ(handlerState(handler)["items"], json::array({item}));

        EXPECT_EQ(wdltctlJson({"disable", feature}), json({{"feature", feature},
                                                           {"status", 0},
                                                           {"changed", {{itemOf, "off"}, {handlerNamed, "off"}}},
                                                           {"staying", json::array()}}));
        EXPECT_EQ(done({"disable", feature}), std::string(feature) + " is off already\n");
    }
    EXPECT_EQ(wholeTree(), before);
}

TEST(WdltctlSwitch, TellsWhoseSakeAHandlerStaysFor) {
    done({"init"});
    done({"enable", "pvs"});
    EXPECT_EQ(done({"enable", "aspm"}), "AntiSpam of POP3: on\n");
    EXPECT_EQ(done({"disable", "pvs"}), "Virus of POP3: off\nhandler POP3 stays on: AntiSpam on\n");
    EXPECT_EQ(done({"disable", "pvs"}), "handler POP3 stays on: AntiSpam on\n");
    EXPECT_EQ(done({"disable", "aspm"}), "AntiSpam of POP3: off\nhandler POP3: off\n");

    // Both virus scans of HTTP count as one item of the handler, but are two here.
    done({"enable", "hfs"});
    done({"enable", "wmvs"});
    EXPECT_EQ(handlerState("HTTP")["items"], json::array({"Virus", "HttpFileScan"}));
    EXPECT_EQ(done({"disable", "wmvs"}), "Virus of HTTP: off\nhandler HTTP stays on: HttpFileScan on\n");

    // A manager is no reason to stay on.
    ASSERT_EQ(runProgram({"wdltreg", "set", "SOFTWARE\\Halvermoor\\PLK\\Wardlet\\Scan\\HTTP\\HttpManager", "Enable",
                          "dword", "1"})
                  .status,
              0);
    EXPECT_EQ(done({"disable", "hfs"}), "HttpFileScan of HTTP: off\nhandler HTTP: off\n");
    EXPECT_EQ(handlerState("HTTP")["items"], json::array({"HttpManager"}));
}

TEST(WdltctlSwitch, PrivacyIsSwitchedByProtocol) {
    done({"init"});
    EXPECT_EQ(done({"enable", "pdp", "--protocol", "smtp"}), "PrivacyProtection of SMTP: on\nhandler SMTP: on\n");
    json privacy = wdltctlJson({"status"})["features"]["pdp"];
    EXPECT_EQ(privacy,
              json({{"available", true}, {"enabled", false}, {"protocols", {{"smtp", true}, {"http", false}}}}));

    // All of them, of which the tree serves two: what was done before the failure is told.
    const auto all = wdltctl({"enable", "pdp"});
    EXPECT_EQ(all.status, 1);
    EXPECT_EQ(all.out, "PrivacyProtection of HTTP: on\nhandler HTTP: on\n");
    EXPECT_EQ(all.err, "wdltctl: status -1 (general failure): no handler serves protocol 4, 5, 6, 7\n");

    ASSERT_EQ(runProgram(
                  {"wdltreg", "set", "SOFTWARE\\Halvermoor\\PLK\\Wardlet\\ProtocolHandler\\Chat", "Type", "dword", "4"})
                  .status,
              0);
    EXPECT_EQ(wdltctlJson({"status"})["features"]["pdp"]["protocols"]["4"], false);
    EXPECT_EQ(handlerState("Chat")["type"], 4);
    EXPECT_EQ(done({"disable", "pdp"}), "PrivacyProtection of SMTP: off\nhandler SMTP: off\n"
                                        "PrivacyProtection of HTTP: off\nhandler HTTP: off\n");
}

TEST(WdltctlSwitch, StatusIsATable) {
    EXPECT_THAT(done({"status"}), HasSubstr("No handler is there; wdltctl init"));
    EXPECT_THAT(wdltctl({"get", "pvs"}).err, HasSubstr("nothing is laid down here, wdltctl init does that"));
    done({"init"});
    done({"enable", "urlf"});
    const std::string table = done({"status"});
    EXPECT_THAT(table, StartsWith("FEATURE "));
    EXPECT_THAT(table, testing::ContainsRegex("\nurlf +on +URL filter\n"));
    EXPECT_THAT(table, testing::ContainsRegex("\n  smtp +off\n"));
    EXPECT_THAT(table, HasSubstr("\n\nHANDLER  TYPE  STATE  ITEMS THAT ARE ON\n"
                                 "POP3     1     off\n"
                                 "SMTP     2     off\n"
                                 "HTTP     3     on     URLFilter\n"));
}

TEST(WdltctlSwitch, HandlersAreRecordsByNameOrType) {
    done({"init"});
    EXPECT_EQ(wdltctlJson({"get", "handler", "2"}), json({{"name", "SMTP"},
                                                          {"filename", "WdphSmtp.dll"},
                                                          {"type", 2},
                                                          {"enable", 0},
                                                          {"scan", "SMTP"},
                                                          {"dependentScanEngine", 0},
                                                          {"redirectCount", 0}}));
    done({"add", "redirects", "smtp", "Mail", "--port", "25"});
    done({"set", "handler", "smtp", "filename=New.dll", "enable=1"});
    EXPECT_EQ(done({"get", "handler", "SMTP", "filename"}), "New.dll\n");
    EXPECT_EQ(done({"get", "handler", "SMTP", "enable"}), "1\n");
    EXPECT_EQ(done({"get", "handler", "SMTP", "redirectCount"}), "1\n");
    EXPECT_EQ(done({"get", "handler", "POP3", "filename"}), "WdphPop3.dll\n");
}

TEST(WdltctlSwitch, RedirectsComeAndGo) {
    done({"init"});
    EXPECT_EQ(wdltctlJson({"list", "redirects", "POP3"}), json::array());
    done({"add", "redirects", "POP3", "Mail", "--process", "mail.exe", "--port", "110", "--direction", "2", "--flag",
          "3", "--cancel-mask", "0xff"});
    done({"add", "redirects", "1", "\xC3\xA9t\xC3\xA9", "--image", "C:\\\xE4\xB8\x80.exe", "--level", "2"});
    const json mail = {{"session", "Mail"}, {"process", "mail.exe"}, {"image", ""},
                       {"port", 110},       {"direction", 2},        {"flag", 3},
                       {"level", -1},       {"cancelMask", 255}};
    const json image = {{"session", "\xC3\xA9t\xC3\xA9"},
                        {"process", ""},
                        {"image", "C:\\\xE4\xB8\x80.exe"},
                        {"port", 0},
                        {"direction", 0},
                        {"flag", 16},
                        {"level", 2},
                        {"cancelMask", 0}};
    EXPECT_EQ(wdltctlJson({"list", "redirects", "pop3"}), json::array({mail, image}));
    EXPECT_EQ(wdltctlJson({"list", "redirects", "SMTP"}), json::array());
    EXPECT_THAT(done({"list", "redirects", "POP3"}),
                testing::ContainsRegex("\nMail +mail\\.exe +110 +2 +0x3 +-1 +0xff\n"));
    EXPECT_EQ(handlerState("POP3")["redirects"], 2);

    done({"remove", "redirects", "POP3", "mail"});
    EXPECT_EQ(wdltctlJson({"list", "redirects", "POP3"}), json::array({image}));
    expectFailed({"remove", "redirects", "POP3", "Mail"}, 1, "status -16 (key or value doesn't exist): session Mail");
}

TEST(WdltctlSwitch, WhatMakesNoSenseChangesNothing) {
    done({"init"});
    const std::string before = wholeTree();
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* words;
    } cases[] = {
        {{"enable"}, 2, "FEATURE is required"},
        {{"enable", "PVS"}, 2, "there is pvs, svs, wmvs, hfs, urlf, hosf, aspm, hfe, sal, pdp"},
        {{"enable", "opera"}, 2, "no such feature"},
        {{"enable", "pvs", "--protocol", "pop3"}, 2, "pop3: pvs has no such protocol"},
        {{"disable", "--protocol", "smtp,pop3", "pdp"}, 2, "pop3: pdp has no such protocol"},
        {{"get", "handler"}, 2, "HANDLER is needed"},
        {{"get", "handler", "POP3", "port"}, 2, "no such field; there are name, filename"},
        {{"get", "system", "proxyPort", "bmFlag"}, 2, "bmFlag: one field"},
        {{"get", "handler", "IMAP"}, 1, "IMAP: no such handler; there is POP3 (1), SMTP (2), HTTP (3)"},
        {{"set", "handler", "POP3"}, 2, "FIELD=VALUE is needed"},
        {{"set", "handler", "POP3", "enable=1", "type=2"}, 2, "type: the field is read only"},
        {{"set", "handler", "POP3", "scan=12345678901"}, 2, "the text takes 11 bytes, 10 have room"},
        {{"list"}, 2, "subcommand is required"},
        {{"list", "redirects"}, 2, "HANDLER is required"},
        {{"list", "redirects", "17"}, 1, "no such handler"},
        {{"add", "redirects", "POP3", "Mail"}, 1, "status -3 (invalid argument)"},
        {{"add", "redirects", "POP3", "", "--port", "1"}, 2, "SESSION"},
        {{"add", "redirects", "POP3", "a\\b", "--port", "1"}, 2, "SESSION"},
        {{"add", "redirects", "POP3", "12345678901", "--port", "1"}, 2, "SESSION: at most 10 characters"},
        {{"add", "redirects", "POP3", "Mail", "--port", "65536"}, 2, "--port"},
        {{"add", "redirects", "POP3", "Mail", "--process", "1234567890123456"}, 2, "--process: at most 15 bytes"},
        {{"add", "redirects", "POP3", "Mail", "--process", "x", "--image", "y"}, 2, "excludes"},
        {{"add", "redirects", "POP3", "Mail", "--process", "x", "--flag", "16"}, 2, "an image is meant"},
    };
    for (const auto& each : cases)
        expectFailed(each.arguments, each.status, each.words);
    EXPECT_EQ(wholeTree(), before);
}

} // namespace

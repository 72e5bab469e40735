// wdltctl's settings: what init writes, and what is switched, set and shown.
#include "Catalog.h"
#include "Tree.h"
#include "Typed.h"

#include <functional>
#include <set>
#include <strings.h>

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(Wdltctl, InitReplacesWhatIsThereOnlyByForce) {
    const std::string fresh = stored()["registry"];
    const std::string init = "init --install " + install();
    expectOutputs({{"wdltreg set " + kBase + "\\Extra n sz x", ""}, {"add items card 4711", "added with index 0\n"}});
    expectRefused({{init, 5, "there already; --force replaces it"}});
    done("wdltreg delete " + kBase);
    expectRefused({{init, 5, "Privacy.dat is there already; --force replaces it"},
                   {"init --install " + TestHome::instance().write("file", "").string() + "/below", 5, "file/below"},
                   {"get pvs", 3, "nothing is laid down in " + TestHome::instance().path().string() + ": wdltctl init"},
                   {"status", 3, "nothing is laid down in "},
                   {"set system proxyPort=1", 3, "nothing is laid down in "},
                   {"enable pvs", 3, "nothing is laid down in "}});
    done(init + " --force");
    EXPECT_EQ(stored()["registry"], fresh);
    EXPECT_EQ(done("export items -"), "[]\n");
    EXPECT_EQ(doneJson("init --force --install D:\\Guard\\")["installPath"], "D:\\Guard\\");
    expectOutputs({{"get system tempPath", "D:\\Guard\\Temp\\\n"}, {"get system logPath", "D:\\Guard\\Log\\\n"}});
}

// Whether a key matches a pattern of the catalog.
bool isMeant(std::string_view pattern, std::string_view key) {
    for (;;) {
        const std::string_view wanted = pattern.substr(0, pattern.find('\\'));
        const std::string_view name = key.substr(0, key.find('\\'));
        if (wanted != name && (wanted != "*" || name.empty()))
            return false;
        if (wanted.size() == pattern.size() || name.size() == key.size())
            return wanted.size() == pattern.size() && name.size() == key.size();
        pattern.remove_prefix(wanted.size() + 1);
        key.remove_prefix(name.size() + 1);
    }
}

// Directories aren't compared: init sets them.
void expectFresh(const wdlt::Field& field, const std::string& key) {
    const auto value = tree::get(key, field.value);
    const std::string where = key + "\\" + field.value;
    if (field.kind == wdlt::FieldKind::Number) {
        EXPECT_EQ(tree::number(key, field.value), field.freshNumber) << where;
    } else if (field.kind == wdlt::FieldKind::SealedText) {
        EXPECT_EQ(value ? value->data : "none", "") << where;
    } else if (!where.ends_with("Path") || where.ends_with("RulePath") || where.ends_with("PatternPath")) {
        EXPECT_EQ(tree::storedText(key, field.value), std::string(field.freshText) + '\0') << where;
    }
}

TEST_F(Wdltctl, WhatInitLaysDownIsWhatTheCatalogSays) {
    std::set<const wdlt::Field*> seen;
    const std::function<void(const std::string&)> walk = [&](const std::string& key) {
        for (const std::string& name : tree::values(tree::path(key))) {
            bool isKnown = false;
            for (const wdlt::Settings& settings : wdlt::kSettings)
                for (const wdlt::Field& field : settings.fields)
                    if (isMeant(settings.key, key) && field.value != nullptr &&
                        strcasecmp(field.value, name.c_str()) == 0) {
                        isKnown = true;
                        if (field.hasFresh) {
                            seen.insert(&field);
                            expectFresh(field, key);
                        }
                    }
            EXPECT_TRUE(isKnown) << key << "\\" << name << " is in no table";
        }
        for (const std::string& below : tree::subkeys(tree::path(key)))
            walk(key.empty() ? below : key + "\\" + below);
    };
    walk("");
    for (const wdlt::Settings& settings : wdlt::kSettings)
        for (const wdlt::Field& field : settings.fields)
            EXPECT_EQ(field.hasFresh && field.value != nullptr, seen.contains(&field)) << settings.key << field.value;
}

TEST_F(Wdltctl, EachFeatureIsSwitchedAlone) {
    const auto fresh = stored();
    const struct {
        std::string feature;
        std::string item;
        std::string handler;
    } features[] = {
        {"pvs", "Virus", "POP3"},        {"svs", "Virus", "SMTP"},         {"wmvs", "Virus", "HTTP"},
        {"hfs", "HttpFileScan", "HTTP"}, {"urlf", "URLFilter", "HTTP"},    {"hosf", "HostFilter", "HTTP"},
        {"aspm", "AntiSpam", "POP3"},    {"hfe", "NetworkEvents", "HTTP"}, {"sal", "SAL", "HTTP"},
    };
    for (const auto& [feature, item, handler] : features) {
        const std::string itemOf = item + " of " + handler;
        expectOutputs({{"enable " + feature, itemOf + ": on\nhandler " + handler + ": on\n"},
                       {"enable " + feature, feature + " is on already\n"}});
        const json status = doneJson("status");
        std::set<std::string> on;
        for (const auto& [name, state] : status["features"].items())
            if (state["enabled"] == true)
                on.insert(name);
        EXPECT_EQ(on, (std::set<std::string>{feature}));
        for (const json& each : status["handlers"])
            EXPECT_EQ(each["items"], each["name"] == handler ? json::array({item}) : json::array()) << feature;
        const json off = {{"feature", feature},
                          {"status", 0},
                          {"changed", {{itemOf, "off"}, {"handler " + handler, "off"}}},
                          {"staying", json::array()}};
        expectOutputs(
            {{"disable " + feature + " --json", off.dump()}, {"disable " + feature, feature + " is off already\n"}});
    }
    EXPECT_EQ(stored(), fresh);
}

TEST_F(Wdltctl, SwitchesTellWhatTheyChange) {
    expectOutputs({
        {"enable pvs", "Virus of POP3: on\nhandler POP3: on\n"},
        {"enable aspm", "AntiSpam of POP3: on\n"},
        {"disable pvs", "Virus of POP3: off\nhandler POP3 stays on: AntiSpam on\n"},
        {"disable pvs", "pvs is off already\n"},
        {"disable aspm", "AntiSpam of POP3: off\nhandler POP3: off\n"},
        // The handler counts both virus scans of HTTP as one item; here they are two.
        {"enable hfs", "HttpFileScan of HTTP: on\nhandler HTTP: on\n"},
        {"enable wmvs", "Virus of HTTP: on\n"},
        {"enable pdp", "pdp: smtp, http have a handler\n"
                       "PrivacyProtection of SMTP: on\nhandler SMTP: on\nPrivacyProtection of HTTP: on\n"},
        {"enable pdp", "pdp: smtp, http have a handler\npdp is on already\n"},
        {"disable pdp --protocol http",
         "PrivacyProtection of HTTP: off\nhandler HTTP stays on: Virus, HttpFileScan on\n"},
        {"disable pdp --protocol http", "pdp (http) is off already\n"},
        {"enable hfe-plugin", "hfe-plugin: on\n"},
        {"enable hfe-plugin", "hfe-plugin is on already\n"},
        {"enable plugin-manager", "plugin-manager: on\n"},
        {"disable ie", "ie is off already\n"},
        {"enable firefox", "firefox: on\n"},
        {"enable drs-white-list --option 5", "drs-white-list: on\noption of drs-white-list: 5\n"},
        {"enable drs-white-list", "drs-white-list is on already\n"},
        {"enable drs-white-list --option 5", "drs-white-list is on already\n"},
    });
    EXPECT_THAT(done("status"),
                AllOf(StartsWith("FEATURE         STATE\npvs             off    virus scan of POP3\n"),
                      HasSubstr("\n  smtp          on\n  http          off\n"),
                      EndsWith("SMTP     2     on     PrivacyProtection\nHTTP     3     on     Virus HttpFileScan\n")));
    expectOutputs({
        {"disable plugin-manager", "plugin-manager: off\n"},
        {"disable hfe-plugin", "hfe-plugin: off\n"},
        {"disable drs-white-list", "drs-white-list: off\n"},
        {"wdltreg query " + kBase + "\\PluginManager\\DRS\\WhiteList Option", "REG_DWORD 5 (0x00000005)\n"},
        {"enable ie", "ie: on\n"},
        {"enable chrome", "chrome: on\n"},
        // A manager item doesn't keep the handler on.
        {"wdltreg set " + kBase + "\\Scan\\HTTP\\HttpManager Enable dword 1", ""},
        {"disable wmvs", "Virus of HTTP: off\nhandler HTTP stays on: HttpFileScan on\n"},
        {"disable hfs", "HttpFileScan of HTTP: off\nhandler HTTP: off\n"},
        {"enable https", "URLFilter of HTTP: on\nhandler HTTP: on\nplugin-manager: on\nHttpsFilter of HTTP: on\n"},
        {"enable https", "https is on already\n"},
        {"enable drs", "drs: on\n"},
        {"set https-flags enable=0x7", "enable  7\n"},
        {"disable https", "HttpsFilter of HTTP: off\nhandler HTTP stays on: URLFilter on\n"},
        {"get https-flags enable", "6\n"},
        {"disable https", "https is off already\n"},
        {"disable plugin-manager", "plugin-manager: off\n"},
        {"disable drs", "drs: off\n"},
        {"enable drs --json",
         R"({"feature": "drs", "status": 0, "changed": {"plugin-manager": "on", "drs": "on"}, "staying": []})"},
    });
}

// Changes made before the failure are reported.
TEST_F(Wdltctl, ASwitchThatFailsHalfWay) {
    const struct {
        std::string line;
        std::string out;
        std::string err;
    } rows[] = {
        {"enable pdp --protocol smtp,4,5", "PrivacyProtection of SMTP: on\nhandler SMTP: on\n",
         "wdltctl: status -1 (general failure): no handler serves protocol 4, 5\n"},
        {"enable https", "URLFilter of HTTP: on\nhandler HTTP: on\n", "status -9"},
    };
    done("wdltreg delete " + kBase + "\\PluginManager filename");
    for (const auto& row : rows) {
        const ProgramResult result = typed(row.line);
        EXPECT_EQ(result.status, 6);
        EXPECT_EQ(result.out, row.out);
        EXPECT_THAT(result.err, HasSubstr(row.err));
    }
    EXPECT_EQ(doneJson("status")["features"]["plugin-manager"],
              (json{{"available", false}, {"enabled", nullptr}, {"state", "not available"}}));
    EXPECT_THAT(typed("disable pdp --json").out, HasSubstr("smtp, http have a handler"));
    done("wdltreg delete " + kBase + "\\ProtocolHandler\\HTTP");
    EXPECT_THAT(done("enable pdp"), StartsWith("pdp: smtp has a handler\n"));
    done("wdltreg delete " + kBase + "\\ProtocolHandler\\SMTP");
    EXPECT_THAT(typed("enable pdp").err, HasSubstr("none of its protocols has a handler"));
}

// Whatever a feature needs may be off while its own switch is on.
TEST_F(Wdltctl, AFeatureThatIsOnInPart) {
    const auto expectPart = [](const std::string& feature, const json& off, const std::string& shown) {
        const json state = doneJson("status")["features"][feature];
        EXPECT_EQ(state["state"], "part") << feature;
        EXPECT_EQ(state["enabled"], false) << feature;
        EXPECT_EQ(state["off"], off) << feature;
        EXPECT_THAT(done("status"), HasSubstr(shown));
    };
    done("enable pdp --protocol smtp");
    expectPart("pdp", {"PrivacyProtection of HTTP", "handler HTTP"}, "part   privacy data protection; off: Privacy");
    done("enable https");
    done("enable drs");
    done("disable plugin-manager");
    expectPart("drs", {"plugin-manager"}, "\ndrs             part   DRS; off: plugin-manager\n");
    done("disable urlf");
    expectPart("https", {"URLFilter of HTTP", "handler HTTP", "plugin-manager"},
               "part   HTTPS scan; off: URLFilter of");
    done("wdltreg set " + kBase + "\\Scan\\POP3\\Virus Enable dword 1");
    expectPart("pvs", {"handler POP3"}, "\npvs             part   virus scan of POP3; off: handler POP3\n");
}

TEST_F(Wdltctl, FieldsAreSetByTheirNames) {
    expectOutputs({
        {"set system proxyPort=0x1F90 bmFlag=0 'logPath=E:\\\xC3\xA9 =\\'",
         "proxyPort  8080\nbmFlag     0\nlogPath    E:\\\xC3\xA9 =\\\n"},
        {"get system proxy-port", "8080\n"},
        {"wdltreg query " + kBase + " DisableBm", "REG_DWORD 1 (0x00000001)\n"},
        {"set system bmFlag=0 --json", R"({"bmFlag": 0})"},
        {"set http szTargetRequestMethods=", "szTargetRequestMethods  \n"},
        {"get http szTargetRequestMethods --json", R"({"szTargetRequestMethods": []})"},
        {"set urlf-proxy szProxyUser=me szProxyPassword=p4ss --json",
         R"-({"szProxyUser": "me", "szProxyPassword": "(secret)"})-"},
        {"set urlf-proxy szProxyUser=you", "szProxyUser  you\n"},
        {"--secrets get urlf-proxy szProxyPassword", "p4ss\n"},
        {"get urlf-proxy", "dwEnableProxy    0\n"
                           "szProxyServer    \n"
                           "dwProxyPort      80\n"
                           "szProxyUser      you\n"
                           "szProxyPassword  (secret)\n"},
    });
}

TEST_F(Wdltctl, HandlersAreRecordsByNameOrType) {
    expectOutputs({
        {"add redirects smtp Mail --port 25", "session Mail of SMTP stored\n"},
        {"set handler smtp filename=New.dll enable=1 scan=1234567890",
         "filename  New.dll\nenable    1\nscan      1234567890\n"},
        {"get handler 2 --json", R"({"name": "SMTP", "filename": "New.dll", "type": 2, "enable": 1,
                                     "scan": "1234567890", "dependentScanEngine": 0, "redirectCount": 1})"},
        {"get handler POP3 filename", "WdphPop3.dll\n"},
        {"set handler HTTP enable=1", "enable  1\n"},
        {"get system handlerTypes", "3 2\n"},
        {"wdltreg set " + kBase + "\\ProtocolHandler\\Chat Type dword 4", ""},
        {"get handler 4 name", "Chat\n"},
    });
    EXPECT_EQ(doneJson("status")["features"]["pdp"]["protocols"]["4"], false);
}

TEST_F(Wdltctl, RedirectsComeAndGo) {
    const std::string image = R"({"session": "été", "process": "", "image": "C:\\一.exe", "port": 0, "direction": 0,
                                  "flag": 16, "level": 2, "cancelMask": 0})";
    expectOutputs({
        {"list redirects POP3 --json", "[]"},
        {"add redirects POP3 Mail --process mail.exe --port 110 --direction 2 --flag 3 --cancel-mask 0xff",
         "session Mail of POP3 stored\n"},
        {"list redirects POP3", "SESSION  PROCESS   IMAGE  PORT  DIRECTION  FLAG  LEVEL  CANCEL MASK\n"
                                "Mail     mail.exe         110   2          0x3   -1     0xff\n"},
        {"add redirects 1 été --image C:\\一.exe --level 2", "session été of POP3 stored\n"},
        {"remove redirects POP3 mail", "session mail of POP3 removed\n"},
        {"list redirects pop3 --json", "[" + image + "]"},
        {"list redirects SMTP --json", "[]"},
    });
}

TEST_F(Wdltctl, RulesComeAndGo) {
    expectOutputs({
        {"add rules Bank --index 2 --process bank.exe --domain *.bank.example", "added with index 2\n"},
        {"list rules --json", R"([{"index": 2, "rule": "Bank", "process": "bank.exe", "domain": "*.bank.example"}])"},
        {"add rules 4", "added with index 1\n"},
        {"add rules third --json", R"({"index": 3, "rule": "third"})"},
        {"list rules", "INDEX  RULE   PROCESS   DOMAIN\n"
                       "1      4\n"
                       "2      Bank   bank.exe  *.bank.example\n"
                       "3      third\n"},
        {"add rules été --index 4", "added with index 4\n"},
        {"remove rules BANK 4 --index 3", "3 removed\n"},
        {"list rules", "INDEX  RULE   PROCESS  DOMAIN\n4      été\n"},
        {"add rules 9", "added with index 1\n"},
        {"remove rules --index 1 --json", R"({"removed": 1})"},
        {"remove rules --all", "all removed\n"},
        {"list rules --json", "[]"},
    });
}

TEST_F(Wdltctl, RawIsTheWholeRecordAsItIs) {
    done("init --force --install C:\\Wardlet");
    EXPECT_THAT(done("raw read 10000 0"),
                AllOf(StartsWith("00000000  57 1b 43 3a 5c 57 61 72  64 6c 65 74 5c 00 00 00  |W.C:\\Wardlet\\...|\n"),
                      HasSubstr("|................|\n*\n"), EndsWith("|................|\n00000360\n")));
    const json document = doneJson("raw read 0x2710 0x0 --input 0x5 --type 7");
    EXPECT_EQ(document["size"], 864);
    EXPECT_EQ(document["input"], 5);

    std::string bytes = done("raw read 10000 0 --out -");
    ASSERT_EQ(bytes.size(), 864u);
    EXPECT_EQ(document["data"].get<std::string>().size(), 2 * bytes.size());
    EXPECT_THAT(document["data"].get<std::string>(), StartsWith("571b433a5c"));
    bytes[1] = 0x12;
    const std::string file = TestHome::instance().write("record", bytes);
    expectOutputs({{"raw write 10000 0 -", "", bytes},
                   {"get system proxyPort", "4695\n"},
                   {"raw read 10000 0 --out " + file, ""},
                   {"raw write 10000 0 " + file + " --json",
                    R"({"protocol": 10000, "scan": 0, "input": 0, "type": 0, "status": 0, "size": 864})"}});
    EXPECT_EQ(TestHome::instance().read("record"), bytes);
}

} // namespace

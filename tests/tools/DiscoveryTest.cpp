// What the tools tell about themselves, and how forgiving they are about names.
#include "Typed.h"

namespace {

TEST_F(Wdltctl, TellsWhatThereIs) {
    const std::string key = "HKEY_LOCAL_MACHINE" + kBase.substr(4);
    expectOutcomes({
        {"--version", 0, "wdltctl 1.", ""},
        {"wdltreg --version", 0, "wdltreg 1.", ""},
        {"wardlet-acl --version", 0, "wardlet-acl 1.", ""},
        {"wardlet-peer --version", 0, "wardlet-peer 1.", ""},
        {"list records", 0, "\nvirus               pop3, smtp, http or files  all that the scan engine is told", ""},
        {"list features", 0, "\npdp             smtp http 4 5 6 7  privacy data protection\n", ""},
        {"list lists", 0, "\nurls        white or black  list add remove import export  Show the URL filter's", ""},
        {"get --help", 0, "get [OPTIONS] RECORD [FIELD...]", ""},
        {"get --help", 0, "\n  proxy-port                   port of the service", ""},
        {"--manual-page 2024-01-01", 0, "directory, as X:\\e... or", ""},
        {"describe urlf user-defined-cred-level", 0, "\nrange         -2147483648 to 2147483647\n", ""},
        {"describe virus", 2, "", "virus: PLACE is needed, pop3, smtp, http or files"},
        {"describe system", 0, "\nproxy-port             ProxyPort           number           6999 ", ""},
    });
    expectOutputs({
        {"--complete aw", ""}, // a verb of the tool's own
        {"--complete check-url x --list b", "black\n"},
        {"list handlers --json", R"([{"handler": "POP3", "type": 1, "state": "off"},
                                     {"handler": "SMTP", "type": 2, "state": "off"},
                                     {"handler": "HTTP", "type": 3, "state": "off"}])"},
        {"describe virus Files extract-file-size-limit",
         "extract-file-size-limit, dwExtractFileSizeLimit: largest file that is extracted\n"
         "key           " +
             key +
             "\\Scan\\HTTP\\HttpFileScan\\config\n"
             "value         ExtractFileSizeLimit\n"
             "kind          number\n"
             "range         0 to 4294967295\n"
             "when missing  the fresh value of its place\n"
             "fresh         1048576\n"},
        {"describe urlf-proxy proxy-password --json",
         R"({"field": "proxy-password", "member": "szProxyPassword", "value": "ProxyPassword", "mostBytes": 127,
             "kind": "text, 127 bytes, enciphered", "whenMissing": "empty; unreadable: the read fails", "fresh": "",
             "secret": true, "readOnly": false, "help": "password, stored enciphered", "key": )" +
             json(key + "\\Scan\\Common\\URLFilter\\config").dump() + "}"},
        {"describe system tcpAutoTuningLevel --json",
         R"({"field": "tcp-auto-tuning-level", "member": "tcpAutoTuningLevel", "value": "TcpAutoTuningLevel",
             "kind": "number", "least": 0, "most": 4294967295, "unit": "", "whenMissing": "2", "fresh": 2,
             "secret": false, "readOnly": true, "help": "TCP auto-tuning level", "key": )" +
             json(key).dump() + "}"},
    });
}

TEST_F(Wdltctl, TakesNamesInAnyCase) {
    expectOutputs({{"GET System PROXYPORT", "6999\n"},
                   {"get system Proxy-Port", "6999\n"},
                   {"get virus SMTP DWZIPLAYER --json", R"({"dwZipLayer": 1})"},
                   {"enable PVS", "Virus of POP3: on\nhandler POP3: on\n"},
                   {"enable pdp --protocol SMTP", "PrivacyProtection of SMTP: on\nhandler SMTP: on\n"},
                   {"add urls BLACK x", "1 added\n"},
                   {"List URLs Black", "x\n"},
                   {"check-url x --list Black", "x: on the list\n"}});
}

// As far as it can be told: the home may be no directory, without a tree, or whole.
TEST_F(Wdltctl, TellsWhereEverythingIs) {
    const std::string home = TestHome::instance().path();
    const json whole = doneJson("where");
    EXPECT_EQ(whole["home"], json({{"path", home}, {"bytes", nullptr}, {"note", "layout 1"}}));
    EXPECT_EQ(whole["registry"]["bytes"], std::filesystem::file_size(home + "/registry/data.mdb"));
    EXPECT_EQ(whole["install"]["path"], install());
    EXPECT_EQ(whole["privacy database"]["bytes"], std::filesystem::file_size(install() + "/Privacy.dat"));
    EXPECT_EQ(whole["urls white"]["path"], install() + "/UrlWhite.dat");
    EXPECT_EQ(whole["urls white"]["note"], "not there");
    EXPECT_EQ(whole["log"]["path"], home + "/log/qxcWdltCfg.log");
    EXPECT_EQ(whole["log"]["note"], "off, not there");
    done("wdltreg delete " + kBase + "\\Scan\\Common");
    EXPECT_EQ(doneJson("where")["hosts"]["note"], "no setting names it");
    EXPECT_EQ(doneJson("where")["spyware"]["path"], install() + "/SpyAList.dat"); // has a default
    done("wdltreg delete " + kBase);
    expectOutcomes({{"where", 0, "nothing is laid down: wdltctl init", ""}});
    setenv("WARDLET_HOME", TestHome::instance().write("file", "").c_str(), 1);
    EXPECT_EQ(json::parse(typed("where --json").out)["home"]["note"], "not a directory: " + home + "/file");
    setenv("WARDLET_HOME", (home + "/none").c_str(), 1);
    expectOutcomes({{"wdltreg query A", 3, "", "no registry is in " + home + "/none"},
                    {"describe system proxy-port", 0, "fresh         6999\n", ""}});
    setenv("WARDLET_HOME", home.c_str(), 1);
}

} // namespace

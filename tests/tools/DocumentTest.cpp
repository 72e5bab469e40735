// The whole configuration as one document: dump, diff, load, its confirmation, and watch.
#include "Seed.h"
#include "Typed.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <thread>

namespace {

using testing::HasSubstr;
using testing::Not;

// One of everything.
const std::string kAll =
    R"({"records": {"urlf": {"mode": 2}, "https": {"enable": 4}, "handler": {"SMTP": {"enable": 1}},
        "urlf-proxy": {"proxy-password": "geheim"}, "aspm": {"level": 2}, "virus": {"files": {"extract-file-size-limit": 7}}},
    "features": {"pvs": true, "https": true, "pdp": {"http": true}, "drs-white-list": {"option": 7}},
    "lists": {"urls": {"black": ["*example.com/*", "*x.org/*"]}, "hosts": ["a.example", "hex:0102"], "spyware": ["s"],
        "exclusions": ["e"], "spam": {"white": ["x@y"]},
        "redirects": {"POP3": {"Mail": {"port": 110}, "Img": {"image": "a.exe", "level": 3}}},
        "rules": {"r.1": {"process": "p.exe"}, "r2": {"index": 1, "domain": "d"}},
        "items": {"3": {"name": "card", "text": "4711"}, "10": {"name": "kept", "text": ""}}}})";

std::string written(const std::string& content, const std::string& name = "document.json") {
    return TestHome::instance().write(name, content);
}
std::string kept(const std::string& name) {
    const std::string file = TestHome::instance().path() / name;
    done("dump --secrets " + file);
    return file;
}
std::string generation() {
    return doneJson("dump")["generation"];
}
// In any order.
std::multiset<std::string> linesOf(const std::string& text) {
    std::multiset<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.insert(line);
    return lines;
}
// Without what differs between equal states.
json state() {
    json document = doneJson("dump --secrets");
    document.erase("generation");
    return document;
}
const std::string kJournal = "load.json";
bool isJournalThere() {
    return std::filesystem::exists(TestHome::instance().path() / kJournal);
}

TEST_F(Wdltctl, ADumpIsOfOneStateAndItsGenerationChangesWithIt) {
    done("add spam black a@b");
    const std::string first = done("dump");
    EXPECT_EQ(done("dump"), first);
    std::string last = generation();
    for (const char* const change : {"set system proxy-port=1", "add urls white x", "add spam black c@d", "enable pvs",
                                     "add items card 4711", "set urlf-proxy proxy-password=geheim"}) {
        done(change);
        EXPECT_NE(generation(), last) << change;
        last = generation();
    }
    std::ofstream(install() + "/SpamBlack.txt") << "e@f\nc@d\n"; // in place, of the same size
    EXPECT_NE(generation(), last);
    EXPECT_THAT(done("dump"), testing::AllOf(Not(HasSubstr("4711")), Not(HasSubstr("geheim")), HasSubstr("card")));
    EXPECT_THAT(done("dump --secrets"), testing::AllOf(HasSubstr("4711"), HasSubstr("geheim")));
}

TEST_F(Wdltctl, ALoadStoresWhatTheDiffTellsAndTheSecondNothing) {
    const std::string fresh = kept("fresh.json");
    const std::string all = written(kAll);
    const ProgramResult diff = typed("diff " + all);
    EXPECT_EQ(diff.status, 1);
    EXPECT_THAT(diff.out, testing::AllOf(
                              HasSubstr("urlf.mode: 0 -> 2\n"), HasSubstr("lists.urls.black: + *x.org/*\n"),
                              HasSubstr("lists.rules.\"r.1\": + {\"index\":2,\"process\":\"p.exe\""),
                              Not(HasSubstr("4711")), HasSubstr("urlf-proxy.proxy-password: \"\" -> \"(secret)\"\n"),
                              HasSubstr("handler.POP3.enable: 0 -> 1\n"), HasSubstr("features.urlf: false -> true\n")));
    EXPECT_THAT(typed("diff --json " + all).out, testing::AllOf(Not(HasSubstr("4711")), Not(HasSubstr("geheim"))));
    EXPECT_EQ(linesOf(done("load " + all)), linesOf(diff.out));

    const std::string before = generation();
    {
        RunningProgram peer(wordsOf("wardlet-peer"));
        EXPECT_THAT(peer.readLine(), HasSubstr("ready"));
        EXPECT_EQ(done("load " + all), "");
        EXPECT_EQ(peer.endedBy(SIGTERM), 0);
        EXPECT_EQ(peer.readLine(), "") << "nobody was told of anything";
    }
    EXPECT_EQ(generation(), before);
    EXPECT_EQ(done("diff " + kept("all.json")), "");

    done("load " + fresh);
    EXPECT_EQ(done("diff " + fresh), "");
    const std::string files = fresh + " " + (TestHome::instance().path() / "all.json").string();
    EXPECT_EQ(linesOf(typed("diff " + files).out), linesOf(diff.out)) << "between two files";
    EXPECT_FALSE(isJournalThere());
}

TEST_F(Wdltctl, WhatALoadTakesAndLeavesAlone) {
    done("load " + written(kAll));
    expectOutcomes({
        {"load - --expect-generation " + generation(), 0, "system.bm-flag: 1 -> 0", "", "get system bm-flag", "0\n",
         R"({"records": {"system": {"bm-flag": 0}}})"},
        {"load -", 0, "", "", "get urlf-proxy proxy-password --secrets", "geheim\n",
         R"-({"records": {"urlf-proxy": {"proxy-password": "(secret)"}}})-"},
        {"load -", 0, "lists.rules.r2: - {", "", "remove rules --index 2", "1 removed\n",
         R"({"lists": {"rules": {"r.1": {"process": "p.exe"}}}})"}, // without its index
        {"load -", 0, "urlf.mode: 2 -> 0\n", "", "get urlf mode", "0\n", R"({"records": {"urlf": {"mode": null}}})"},
        {"load -", 0, "lists.hosts: - a.example", "", "list hosts", "", R"({"lists": {"hosts": null}})"},
        {"load -", 0, "another order", "", "list urls black", "*x.org/*\n*example.com/*\n",
         R"({"lists": {"urls": {"black": ["*x.org/*", "*example.com/*"]}}})"},
        {"load - --json", 0, R"("removed": [
      "*x.org/*"
    ])",
         "", "list urls black", "*example.com/*\n", R"({"lists": {"urls": {"black": ["*example.com/*"]}}})"},
        {"load -", 0, "lists.items.3.name", "", "list items --secrets --json",
         "[\n  {\n    \"index\": 3,\n    \"name\": \"other\",\n    \"description\": \"\",\n    \"scanTarget\": 16,\n"
         "    \"text\": \"4711\"\n  }\n]\n",
         R"({"lists": {"items": {"3": {"name": "other"}}}})"},
        {"load -", 0, "lists.redirects.POP3.Img.flag: 16 -> 0", "", "list redirects POP3 --json",
         "[\n  {\n    \"session\": \"Img\",\n    \"process\": \"\",\n    \"image\": \"\",\n    \"port\": 1,\n"
         "    \"direction\": 0,\n    \"flag\": null,\n    \"level\": -1,\n    \"cancelMask\": 0\n  }\n]\n",
         R"({"lists": {"redirects": {"POP3": {"Img": {"port": 1}}}}})"},
        {"load -", 0, "features.pvs: true -> false\n", "", "get handler POP3 enable", "0\n",
         R"({"features": {"pvs": false}})"},
        {"load -", 0, "features.pvs: false -> true\n", "", "get handler POP3 enable", "0\n",
         R"({"features": {"pvs": true}, "records": {"handler": {"POP3": {"enable": 0}}}})"},
        {"load -", 0, "lists.redirects.POP3.Img: - {", "", "list hosts", "", R"({"records": null, "lists": null})"},
        {"load - --dry-run", 1, "system.proxy-port: 6999 -> 1", "1 differ", "get system proxy-port", "6999\n",
         R"({"records": {"system": {"proxy-port": 1}}})"},
        {"load - --expect-generation 0-0", 3, "", "the generation is ", "get system proxy-port", "6999\n",
         R"({"records": {"system": {"proxy-port": 1}}})"},
    });
}

TEST_F(Wdltctl, EachErrorOfADocumentIsToldByItsPath) {
    const std::pair<std::string, std::string> rows[] = {
        {R"({"records")", "not JSON"},
        {R"([])", "document: an object is needed"},
        {R"({"format": 2})", "format: 1 is needed"},
        {R"({"lists": {"hosts": [], "hosts": []}})", "\"hosts\" is there twice"},
        {R"({"record": {}})", "document: record: no such member; did you mean records?"},
        {R"({"records": {"urlf": {"mod": 1}}})", "urlf: mod: no such member; did you mean mode?"},
        {R"({"records": {"urlf": {"mode": "1"}}})", "urlf.mode: a whole number is needed"},
        {R"({"records": {"urlf": {"mode": 1.5}}})", "urlf.mode: a whole number is needed"},
        {R"({"records": {"system": {"proxy-port": 70000}}})", "system.proxy-port: \"70000\" isn't a number from 1 to"},
        {R"({"records": {"system": {"install-path": "here"}}})", "system.install-path: here: a directory is given"},
        {R"({"records": {"system": {"install-path": "/nowhere"}}})",
         "system.install-path: /nowhere\\: no such directory"},
        {R"({"records": {"pvs": {"limit-size": 1}}})", "pvs: limit-size: no such member"},
        {R"({"records": {"https": {"enable": 5}}})", "https.enable: bit 1 is features.https"},
        {R"({"records": {"handler": {"IMAP": {}}}})", "handler: IMAP: no such member"},
        {R"({"records": {"handler": {"POP3": {"scan": null}}}})", "handler.POP3.scan: a fresh installation has none"},
        {R"({"features": {"pvs": 1}})", "features.pvs: true or false is needed"},
        {R"({"features": {"pdp": {"4": true}}})", "features.pdp.4: this installation has no such switch"},
        {R"({"lists": {"urls": {"black": [""]}}})", "lists.urls.black.0: URL: 1 to "},
        {R"({"lists": {"urls": {"black": [7]}}})", "lists.urls.black.0: a text is needed"},
        {R"({"lists": {"rules": {"a\\b": {}}}})", "lists.rules.\"a\\\\b\": RULE: 1 to 199 characters"},
        {R"({"lists": {"rules": {"a": {"index": 1}, "b": {"index": 1}}}})", "lists.rules.b.index: another rule has it"},
        {R"({"lists": {"rules": {"a": {}, "A": {}}}})", "lists.rules.A: there twice, but for the letters' case"},
        {R"({"lists": {"redirects": {"POP3": {"Mail": {}}}}})", "POP3.Mail: one of process, image and port is needed"},
        {R"({"lists": {"redirects": {"POP3": {"Mail": {"port": 65536}}}}})", "Mail.port: a number from 0 to 65535"},
        {R"({"lists": {"items": {"32": {"text": ""}}}})", "lists.items.32: an index is 0 to 31"},
        {R"({"lists": {"items": {"1": {"name": "x"}}}})", "lists.items.1.text: left out, and there is no item"},
        {R"({"records": {"urlf": 1}, "lists": {"hosts": "x"}})", "2 errors\nurlf: an object is needed\nlists.hosts: a"},
    };
    std::vector<Refused> refused;
    for (const auto& [document, words] : rows)
        refused.push_back({"load -", 2, words, document});
    expectRefused(refused);
}

// Whatever is switched: the diff tells all that follows, and the former state comes back.
TEST_F(Wdltctl, AnyDocumentIsLoadedAsToldAndTakenBack) {
    const Seed seed;
    std::mt19937 random(seed);
    const std::string fresh = kept("fresh.json");
    for (int round = 0; round < 12; ++round) {
        json document = doneJson("dump --secrets");
        json part = json::object();
        for (auto& [name, value] : document["features"].items())
            if (random() % 3 == 0)
                part["features"][name] = value.is_object() ? json::object({{value.begin().key(), random() % 2 == 0}})
                                                           : json(random() % 2 == 0);
        if (part.contains("features") && part["features"].contains("drs-white-list"))
            part["features"]["drs-white-list"] = {{"enabled", random() % 2 == 0}};
        for (auto& [handler, fields] : document["records"]["handler"].items())
            if (random() % 4 == 0)
                part["records"]["handler"][handler]["enable"] = random() % 2;
        const std::string before = kept("before.json");
        const std::string file = written(part.dump());
        const std::string told = typed("diff " + file).out;
        EXPECT_EQ(done("load " + file), told) << part;
        EXPECT_EQ(done("load " + file), "") << part;
        if (random() % 2 == 0) {
            done("load " + before);
            EXPECT_EQ(done("diff " + before), "");
        }
    }
    done("load " + fresh);
    EXPECT_EQ(done("diff " + fresh), "");
}

TEST_F(Wdltctl, AFailureHalfWayLeavesTheStateBefore) {
    const std::string all = written(kAll);
    std::ofstream(install() + "/UrlBlack.dat") << "rubbish";
    expectOutcomes({{"load -", 0, "system.bm-flag: 1 -> 0", "", "get system bm-flag", "0\n",
                     R"({"records": {"system": {"bm-flag": 0}}})"},
                    {"load " + all, 5, "", "black list", "get urlf mode", "0\n"}});
    std::filesystem::remove(install() + "/UrlBlack.dat");
    done("set system temp-path=/nowhere/");
    const json before = state();
    expectOutcomes({{"load " + all, 5, "", "lists.urls.black: load: status -"}});
    EXPECT_EQ(state(), before);
    EXPECT_FALSE(isJournalThere());
    expectOutcomes(
        {{"load --keep-going " + all, 6, "urlf.mode: 0 -> 2", "lists.hosts: load: status -", "get urlf mode", "2\n"}});
    EXPECT_FALSE(isJournalThere());
}

TEST_F(Wdltctl, AKilledLoadIsUndoneByTheNextVerb) {
    const std::string fresh = kept("fresh.json");
    const std::string all = written(kAll);
    const json before = state();
    const auto begin = std::chrono::steady_clock::now();
    done("load " + all);
    const auto took = std::chrono::steady_clock::now() - begin;
    const json after = state();
    done("load " + fresh);
    constexpr int kRounds = 24;
    int undone = 0;
    for (int round = 0; round < kRounds; ++round) {
        Child load = startProgram(wordsOf("load " + all), ">/dev/null 2>&1");
        std::this_thread::sleep_for(took * round / kRounds);
        load.kill();
        const bool isCut = isJournalThere();
        undone += isCut ? 1 : 0;
        const ProgramResult next = typed(round % 2 == 0 ? "get system proxy-port" : "set hosf non-block=0");
        EXPECT_EQ(next.err, isCut ? "wdltctl: a load that was cut off half way is undone\n" : "");
        const json found = state();
        EXPECT_TRUE(found == before || (!isCut && found == after)) << json::diff(before, found);
        done("load " + fresh);
    }
    EXPECT_GT(undone, 0);
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}
// The process that a load left behind in this home, once there is one.
void killGuard() {
    for (int i = 0; i < 100; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(50)))
        for (const auto& each : std::filesystem::directory_iterator("/proc"))
            if (contentOf(each.path() / "cmdline").find("await-confirmation") != std::string::npos &&
                contentOf(each.path() / "environ").find(TestHome::instance().path().string()) != std::string::npos) {
                ::kill(std::stoi(each.path().filename().string()), SIGKILL);
                return;
            }
    ADD_FAILURE() << "no process waits";
}

TEST_F(Wdltctl, WithoutConfirmationALoadIsUndone) {
    const auto untilUndone = [] {
        for (int i = 0; i < 100 && isJournalThere(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_FALSE(isJournalThere());
    };
    const std::string journal = TestHome::instance().path() / kJournal;
    const auto timePasses = [&] { // in another run of the machine
        json stored = json::parse(TestHome::instance().read(kJournal));
        stored["due"] = {{"clock", 1}, {"running", INT32_MAX}, {"boot", "another"}};
        std::ofstream(journal) << stored;
    };
    const std::string port = written(R"({"records": {"system": {"proxy-port": 1}, "urlf": {"mode": 2}}})");
    const std::string within = "load --confirm-within 1s " + port;
    const auto loaded = [&](const std::string& line) {
        const ProgramResult result = typed(line);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.err, HasSubstr("wdltctl confirm"));
    };

    loaded(within); // by the process that it leaves behind
    untilUndone();
    expectOutcomes({{"get system proxy-port", 0, "6999\n", "is undone", "get system proxy-port", "6999\n"}});

    loaded("load --confirm-within 1h " + port);
    expectOutcomes({{"load " + port, 3, "", "another load waits for its confirmation"},
                    {"confirm", 0, "confirmed", "", "get system proxy-port", "1\n"},
                    {"confirm", 1, "", "no load waits for its confirmation"}});

    done("set system proxy-port=6999 bm-flag=0");
    done("set urlf mode=0");
    // The process that waits is gone, and so may be the machine: then the next verb does it. What others have changed
    // since stays.
    loaded("load --confirm-within 1h " + port);
    done("set system proxy-port=3");
    killGuard();
    timePasses();
    expectOutcomes({{"get system proxy-port", 0, "3\n",
                     "in time is undone; changed since by others, so it stays: system.p", "get urlf mode", "0\n"}});

    // What can't be undone yet waits for the next verb.
    const std::string temp = done("get system temp-path");
    loaded("load --confirm-within 1h " + written(R"({"lists": {"hosts": ["h"]}})"));
    done("wdltreg set " + kBase + " TempPath sz /nowhere/");
    timePasses();
    expectRefused({{"set system proxy-port=1", 3, "can't be undone: lists.hosts: "}});
    done("wdltreg set " + kBase + " TempPath sz " + temp);
    expectOutcomes({{"get system proxy-port", 0, "3\n", "in time is undone", "list hosts", ""}});

    std::ofstream(journal) << "{}";
    expectOutcomes(
        {{"get system proxy-port", 0, "3\n", "not a load's journal"}, {"confirm --force", 0, "confirmed", ""}});
}

// It has taken its first look then.
bool waitsForFiles(pid_t process) {
    std::error_code failure;
    for (const auto& each : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", failure))
        if (std::filesystem::read_symlink(each.path(), failure) == "anon_inode:inotify")
            return true;
    return false;
}

TEST_F(Wdltctl, WatchPrintsEachChange) {
    for (const bool asJson : {false, true}) {
        RunningProgram watch(wordsOf(std::string("watch --count 5") + (asJson ? " --json" : "")));
        while (!waitsForFiles(watch.process()))
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        done(asJson ? "set system proxy-port=1" : "set system proxy-port=2");
        const std::string line = watch.readLine();
        EXPECT_THAT(line, HasSubstr(asJson ? R"({"path":"system.proxy-port","from":2,"to":1})"
                                           : "system.proxy-port: 6999 -> 2"));
        done(std::string(asJson ? "remove" : "add") + " urls black x");
        EXPECT_THAT(watch.readLine(), HasSubstr("lists.urls.black"));
        done(asJson ? "set urlf-proxy proxy-password=geheim2" : "set urlf-proxy proxy-password=geheim");
        EXPECT_THAT(watch.readLine(), testing::AllOf(HasSubstr("proxy-password"), Not(HasSubstr("geheim"))));
        done(asJson ? "disable pvs" : "enable pvs");
        EXPECT_THAT(watch.readLine(), HasSubstr("handler.POP3.enable"));
        EXPECT_THAT(watch.readLine(), HasSubstr("features.pvs"));
        EXPECT_EQ(watch.wait(), 0);
    }
}

} // namespace

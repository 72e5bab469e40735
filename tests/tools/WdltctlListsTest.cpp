// wdltctl's lists of texts and privacy items, and check-url with and without wardlet-peer running.
#include "TimeScale.h"
#include "Typed.h"

#include <memory>
#include <platform/win32.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using WdltctlLists = Wdltctl;

TEST_F(WdltctlLists, AListIsChangedAndReadBack) {
    const struct {
        std::string words;
        std::size_t mostBytes;
        int mostEntries;
    } lists[] = {
        {"urls black", 2083, 500}, {"urls white", 2083, 500}, {"hosts", 305, 1024},     {"spyware", 128, 256},
        {"exclusions", 2083, 100}, {"spam white", 255, 500},  {"spam black", 255, 500},
    };
    for (const auto& list : lists) {
        std::string most;
        for (int i = 1; i <= list.mostEntries; ++i)
            most += std::to_string(i) + "\n";
        const std::string longest(list.mostBytes, 'x');
        const std::string exported = "export " + list.words + " -";
        const std::string imported = "import " + list.words + " -";
        const auto with = [&](const char* verb, const std::string& entries) {
            return verb + (" " + list.words) + " " + entries;
        };
        const std::string all = std::to_string(list.mostEntries);
        const auto counted = [](const std::string& entries, const std::string& added, const std::string& removed) {
            return entries + " entries: " + added + " added, " + removed + " removed";
        };
        expectOutputs({
            {exported, ""},
            {imported, counted("2", "2", "0") + "\n", "*a.b/*\r\n\nhttp://c.d/"},
            {exported, "*a.b/*\nhttp://c.d/\n"},
            {with("add", "x y* x"), "x: on the list already\n2 added\n"},
            {with("remove", "*a.b/* x z"), "z: not on the list\n2 removed\n"},
            {with("list", "--json"), R"(["http://c.d/", "y*"])"},
            {imported + " --merge --dry-run", counted("3", "1", "0") + "; nothing is stored\n", "new\ny*\n"},
            {imported + " --merge", counted("3", "1", "0") + "\n", "new\ny*\n"},
            {imported, counted("2", "0", "1") + ", 1 were there twice\n", "y*\nnew\nnew\n"},
            {imported, counted(all, all, "2") + "\n", most},
            {exported, most},
            {imported, counted("2", "2", all) + "\n", longest + "\ny*\n"},
            {exported, longest + "\ny*\n"},
        });
        expectRefused({
            {imported, 2, "line 2: 1 to " + std::to_string(list.mostBytes) + " bytes", "a\n" + longest + "x\n"},
            {imported, 2, "records, at most " + std::to_string(list.mostEntries), most + "0\n"},
            {imported, 2, "--allow-empty", "# nothing\n"},
            {with("import", "/nowhere/at/all"), 5, "/nowhere/at/all"},
        });
        expectOutputs({{imported + " --allow-empty", counted("0", "0", "2") + "\n"}, {exported, ""}});
    }
}

TEST_F(WdltctlLists, AFileOfEntriesComesBackTheSame) {
    const std::string escaped = "\\#a\n\\\\b\n\\ c\nd\\ \n\\ \\ \n\\\\\\ \na b\n\\\\\n";
    const std::string utf16("\xFF\xFE"
                            "a\0\n\0\xE9\0",
                            8);
    expectOutputs({
        {"import hosts -", "8 entries: 8 added, 0 removed\n", "\xEF\xBB\xBF # a comment\r\n \t\r\n" + escaped},
        {"export hosts -", escaped},
        {"list hosts --json", R"(["#a", "\\b", " c", "d ", "  ", "\\ ", "a b", "\\"])"},
        {"import hosts -", "1 entries: 1 added, 8 removed\n", "  \tx\\y  \r\n"},
        {"export hosts -", "x\\y\n"},
        {"import hosts -", "2 entries: 2 added, 1 removed\n", utf16},
        {"export hosts -", "a\n\xC3\xA9\n"},
    });
}

TEST_F(WdltctlLists, AListThatCannotBeReadIsNotTakenForAnEmptyOne) {
    expectOutputs({{"add spam white a@b.c", "1 added\n"}, {"add spam black x", "1 added\n"}});
    std::filesystem::remove(install() + "/SpamWhite.txt");
    std::filesystem::create_directory(install() + "/SpamWhite.txt");
    expectRefused({{"list spam white", 5, "white list"}, {"add spam white d@e.f", 5, "white list"}});
    EXPECT_EQ(done("list spam black"), "x\n");
    done("add spyware a b");
    {
        const HANDLE other =
            CreateFileA((install() + "/SpyAList.dat").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(other, INVALID_HANDLE_VALUE);
        expectRefused({{"list spyware", 5, "SpyAList.dat: in use"},
                       {"add spyware c", 5, "SpyAList.dat: in use"},
                       {"import spyware -", 5, "SpyAList.dat: in use by another process (error 32); --force", "c\n"}});
        CloseHandle(other);
    }
    EXPECT_EQ(done("list spyware"), "a\nb\n");
    TestHome::instance().write("install/UrlBlack.dat", "damaged");
    expectRefused({{"import urls black -", 5, "--force replaces it", "u\n"},
                   {"import urls black - --merge --force", 5, "black list", "u\n"}});
    expectOutputs(
        {{"import urls black - --force", "1 entries: 1 added, 0 removed\n", "u\n"}, {"list urls black", "u\n"}});
}

// A write rewrites both files from what is read of them.
TEST_F(WdltctlLists, ASpamFileThatHoldsMoreThanIsReadIsNotRewritten) {
    const std::string white = install() + "/SpamWhite.txt";
    std::string many;
    for (int i = 1; i <= 502; ++i)
        many += std::to_string(i) + "\n\r\n";
    const struct {
        std::string content;
        std::string words;
    } files[] = {
        {many, white + ": lines 1001, 1003: after the 500th entry; a change of anti-spam rewrites both lists: --force"},
        {"a\r\n" + std::string(255, 'x') + "\r\n" + std::string(256, 'x'), "txt: line 3: over 255 bytes; a"},
        {"#\n\xFF\n\xFF\nb\n\xFF", "lines 2 to 3, 5: not text in the system code page"},
        {"\xFF\xFE#", "UTF-16"},
        {std::string("a\0b", 3), "line 1: a zero byte"},
        {"a\r", "line 1: a carriage return before its end"},
    };
    for (const auto& [content, words] : files) {
        TestHome::instance().write("install/SpamWhite.txt", content);
        expectRefused({{"add spam white z", 5, words},
                       {"import spam black -", 5, words, "z\n"},
                       {"load -", 5, words, R"({"lists": {"spam": {"black": ["z"]}}})"},
                       {"load -", 5, words, R"({"records": {"aspm": {"level": 2}}})"},
                       {"set aspm dwLevel=2", 5, words}});
    }
    TestHome::instance().write("install/SpamWhite.txt", "a\n" + std::string(256, 'x'));
    expectOutputs({{"set aspm dwLevel=2 --force", "dwLevel  2\n"},
                   {"list spam white", "a\n" + std::string(255, 'x') + "\nx\n"},
                   {"remove spam white x", "1 removed\n"}});
    std::filesystem::remove(install() + "/SpamBlack.txt");
    std::filesystem::create_directory(install() + "/SpamBlack.txt");
    expectRefused({{"add spam white z --force", 5, "SpamBlack.txt: access denied (error 5)"},
                   {"set aspm dwLevel=1 --force", 5, "move that file away first"}});
}

// The service may store more than a text in a host's block.
TEST_F(WdltctlLists, AHostThatIsNoTextComesAndGoesAsDigits) {
    const std::string zeros(2 * 306 - 6, '0');
    expectOutputs({{"import hosts -", "2 entries: 2 added, 0 removed\n", "hex:6100ff" + zeros + "\na.b\n"},
                   {"export hosts -", "hex:6100ff\na.b\n"},
                   {"import hosts -", "1 entries: 0 added, 1 removed\n", "hex:612e62" + zeros},
                   {"add hosts hex:612e6200 a\x01 hex:x hex:ff hex:00 a\x01",
                    "hex:612e6200: on the list already\na\\x01: on the list already\n4 added\n"},
                   {"list hosts", "a.b\nhex:6101\nhex:6865783a78\nhex:ff\nhex:00\n"},
                   {"remove hosts hex:6101 hex:x", "2 removed\n"}});
    expectRefused({{"add hosts hex:6100ff0" + zeros, 2, "HOST: 1 to 305 bytes"}});
}

TEST_F(WdltctlLists, ExclusionsKeepTheirNumbers) {
    const auto numbers = [] {
        const std::string bytes = doneJson("raw read 0 8 --type 3")["data"];
        std::string found;
        for (std::size_t at = 16; at < bytes.size(); at += 2 * 2092)
            found += bytes.substr(at, 2) + ' ';
        return found;
    };
    done("add exclusions a b c");
    EXPECT_EQ(numbers(), "00 01 02 ");
    expectOutputs({{"remove exclusions b", "1 removed\n"},
                   {"import exclusions -", "3 entries: 1 added, 0 removed\n", "d\nc\na\n"},
                   {"add items n x", "added with index 0\n"}});
    EXPECT_EQ(numbers(), "03 02 00 ");
    EXPECT_EQ(done("export exclusions -"), "d\nc\na\n");
}

TEST_F(WdltctlLists, RulesGoToTheLastThoughTheServiceHearsOfNone) {
    done("add rules a");
    done("add rules b");
    const TimeScale scale("0.005");
    RunningProgram peer({"wardlet-peer", "--silent", "drs"});
    ASSERT_THAT(peer.readLine(), HasSubstr("ready"));
    const ProgramResult removed = typed("remove rules a b");
    EXPECT_EQ(removed.status, 4);
    EXPECT_THAT(removed.err, HasSubstr("2 removed"));
    EXPECT_EQ(doneJson("list rules"), json::array());
}

TEST_F(WdltctlLists, UrlsAreCheckedWithAndWithoutTheService) {
    const TimeScale scale("0.05"); // shortens the wait for an answer
    done("add urls black *a.b/*");
    for (const bool isAsked : {false, true}) {
        std::unique_ptr<RunningProgram> peer;
        if (isAsked) {
            peer = std::make_unique<RunningProgram>(std::vector<std::string>{"wardlet-peer"});
            ASSERT_THAT(peer->readLine(), HasSubstr("ready"));
        }
        const ProgramResult checked = typed("check-url http://a.b/c http://x.y/ --list black");
        EXPECT_EQ(checked.status, 1);
        EXPECT_EQ(checked.out, "http://a.b/c: on the list\nhttp://x.y/: not on the list\n");
        EXPECT_EQ(checked.err, "wdltctl: 1 of 2 not on the black list\n");
        expectOutputs({{"check-url http://a.b/c --list black --json", R"([{"url": "http://a.b/c", "found": true}])"}});
        if (!isAsked)
            continue;
        EXPECT_THAT(peer->readLine(), HasSubstr(R"("list":1,"url":"http://a.b/c","found":true,"reply":0)"));
        EXPECT_THAT(peer->readLine(), HasSubstr(R"("url":"http://x.y/","found":false,"reply":0)"));
        EXPECT_THAT(peer->readLine(), HasSubstr(R"("url":"http://a.b/c")"));
        // Without the list's file the peer refuses, and the library's own look-up fails too.
        EXPECT_EQ(typed("check-url http://a.b/c --list white").status, 1);
        EXPECT_THAT(peer->readLine(), HasSubstr(R"("found":false,"reply":-6)"));
    }
}

constexpr const char* kItems = "--secrets export items -";

TEST_F(WdltctlLists, ItemsStayHiddenUnlessAskedFor) {
    const std::string whole = R"([
  {"index": 0, "name": "card", "description": "", "scanTarget": 16, "text": "4711 0815"},
  {"index": 31, "name": "street", "description": "home", "scanTarget": 3, "text": "Große Straße"},
  {"index": 1, "name": "later", "description": "", "scanTarget": 16, "text": ""}])";
    expectOutputs({
        {kItems, "[]\n"},
        {"add items card '4711 0815'", "added with index 0\n"},
        {"add items street - --description home --target 3 --index 31", "added with index 31\n", "Große Straße\nmore"},
        {"add items later --json", R"({"index": 1})"},
        {"--secrets list items --json", whole},
    });
    EXPECT_EQ(doneJson("--secrets list patterns")[1],
              (json{{"item", 0}, {"charset", "utf-8"}, {"pattern", "34 37 31 31 20 30 38 31 35"}}));
    for (const std::string line : {"list items", "list items --json", "export items -"})
        EXPECT_THAT(done(line), AllOf(HasSubstr("(secret)"), Not(HasSubstr("4711")), HasSubstr("street")));
    for (const std::string line : {"list patterns", "list patterns --json"})
        EXPECT_THAT(done(line), AllOf(HasSubstr("(secret)"), HasSubstr("ucs-2"), Not(HasSubstr("34 37"))));

    // A hidden text keeps the stored one, whatever else changes.
    json hidden = json::parse(done("export items -"));
    json changed = json::parse(whole);
    hidden[1]["name"] = changed[1]["name"] = "road";
    expectOutputs({{"import items -", "3 items in place of 3\n", hidden.dump()},
                   {"--secrets list items --json", changed.dump()},
                   {"remove items 0 31 --name later", "3 removed\n"},
                   {kItems, "[]\n"}});
    expectRefused({{"import items -", 2, "item 1, text: hidden, and no item has the index 0", hidden.dump()}});
    expectOutputs({{"import items -", "3 items in place of 0\n", whole}, {"--secrets list items --json", whole}});
}

TEST_F(WdltctlLists, ItemsAreStoredInTheStoresCharset) {
    const auto setNumber = [](const std::string& name, const std::string& number) {
        done("wdltreg set " + kBase + "\\Scan\\Common\\PrivacyProtection\\config " + name + " dword " + number);
    };
    const std::string sixteen = "日日日日日日日日日日日日日日日日";
    setNumber("DefaultCharSet", "0x1000000"); // Shift_JIS
    done("add items n " + sixteen);
    EXPECT_THAT(done(kItems), HasSubstr(sixteen));
    expectRefused({{"add items n 日" + sixteen, 2, "34 bytes in Shift_JIS, at most 32"},
                   {"add items n größe", 2, "not a text that Shift_JIS can hold"}});
    setNumber("DefaultCharSet", "0x20000000"); // UTF-16LE, whose zero bytes would end the field early
    expectRefused({{"add items n a", 2, "not a text that UTF-16LE can hold"}});
    setNumber("DefaultCharSet", "3");
    expectRefused({{"add items n a", 5, "0x3 is no charset's bit"}});
    setNumber("DefaultCharSet", "0x8"); // utf-8
    setNumber("CharSetEntry", "0x1a");  // us-ascii, utf-8 and iso-8859-1
    done("remove items 0");
    const ProgramResult verified = typed("verify 4711 größe 日本");
    EXPECT_EQ(verified.status, 1);
    EXPECT_EQ(verified.out,
              "1: can be searched for\n2: can be searched for\n3: can't be in each charset that is searched\n");
    EXPECT_EQ(verified.err, "wdltctl: 1 of 3 can't be searched for\n");
    expectOutputs({{"verify größe --json", "[true]"}, {"add items n größe", "added with index 0\n"}});
    expectRefused({{"add items n 日本", 5, "the text of item 1 can't be in each charset that is searched"}});
    setNumber("ItemEntryMax", "1");
    expectRefused({{"add items n a", 2, "2 records, at most 1"}});
}

} // namespace

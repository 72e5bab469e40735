// The lists of anti-spam as callers of the library have them: files that people edit too, what can be written to them,
// and files that can't be had.
#include "AntiSpamTree.h"
#include "ListReads.h"
#include "TestFiles.h"

#include <platform/testing.h>

#include <gmock/gmock.h>

namespace {

using namespace anti_spam;
using testing::ElementsAre;
using testing::IsEmpty;

using AntiSpamLists = AntiSpam;

TEST_F(AntiSpamLists, ListFilesAsPeopleLeaveThem) {
    const std::string longest(255, 'l');
    Texts six;
    std::string sixHundred;
    for (int i = 0; i < 600; ++i) {
        const std::string line = "line " + std::to_string(i);
        if (i < WDLT_MAX_ASPM_RECORDS)
            six.push_back(line);
        sixHundred += line + "\n\n";
    }
    struct Case {
        const char* what;
        std::string content;
        Texts entries;
    };
    const Case cases[] = {
        {"nothing", "", {}},
        {"both ends of a line", "a@b.c\nd@e.f\r\n\r\ng\r\n", {"a@b.c", "d@e.f", "g"}},
        {"blanks are kept", " a \n\t\n", {" a ", "\t"}},
        {"a carriage return of its own", "a\rb\nc\r\r\n", {"a\rb", "c\r"}},
        {"any bytes", "\xEF\xBB\xBF\xC3\xA4\xFF\n", {"\xEF\xBB\xBF\xC3\xA4\xFF"}},
        {"a zero byte ends an entry", std::string("ab\0cd\n\0\nef\n", 11), {"ab", "ef"}},
        {"255 characters", longest + "\ny\n", {longest, "y"}},
        {"255 characters, the other end", longest + "\r\ny\r\n", {longest, "y"}},
        {"256 characters", longest + "m\ny\n", {longest, "m", "y"}},
        {"a line's end beyond a piece of the file", std::string(4095, 'p') + "\r\nq",
         [] {
             Texts pieces(16, std::string(255, 'p'));
             pieces.emplace_back(15, 'p');
             pieces.emplace_back("q");
             return pieces;
         }()},
        {"600 lines", sixHundred, six},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        putFile("black.txt", c.content);
        const auto record = readLists();
        EXPECT_EQ(textsOf(record->blacklist, record->dwBlacklistCount), c.entries);
        EXPECT_EQ(record->dwWhitelistCount, 0u); // there is no such file
        EXPECT_EQ(record->dwUnreadLists, 0u);
        if (c.entries.size() < WDLT_MAX_ASPM_RECORDS) {
            EXPECT_EQ(record->blacklist[c.entries.size()].szEntry[0], '\0');
        }
        EXPECT_EQ(list(WDLT_LIST_BLACK), c.entries);
        EXPECT_EQ(getFile("black.txt"), c.content);
    }
}

TEST_F(AntiSpamLists, FilesLieInTheInstallDirectoryWhateverTheirNameSays) {
    putFile("white.txt", "here\n");
    struct Case {
        const char* name;
        Texts entries;
    };
    for (const Case& c :
         {Case{"C:\\lists\\white.txt", {"here"}}, {"../white.txt", {"here"}}, {"", {}}, {"lists/", {}}}) {
        SCOPED_TRACE(c.name);
        tree::setText(kPopKey, "Whitelist", c.name);
        const auto record = readLists();
        EXPECT_EQ(textsOf(record->whitelist, record->dwWhitelistCount), c.entries);
        EXPECT_STREQ(record->szWhitelistFile, c.entries.empty() ? "" : "white.txt");
    }
    setAll();
    auto record = readLists();
    put(record->szWhitelistFile, "../outside.txt");
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_OK);
    EXPECT_FALSE(std::filesystem::exists(home / "outside.txt"));
    EXPECT_EQ(getFile("outside.txt"), "here\n");
    EXPECT_EQ(tree::storedText(kPopKey, "Whitelist"), std::string("outside.txt\0", 12));
    EXPECT_STREQ(record->szWhitelistFile, "../outside.txt");

    tree::setText("", "InstallPath", "");
    EXPECT_EQ(readLists()->dwWhitelistCount, 0u);
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
}

TEST_F(AntiSpamLists, AWriteTouchesEverythingButTheThresholds) {
    putFile("white.txt", "w1\r\nw2\r\n");
    const auto record = readLists();
    record->dwLevel = 2;
    record->dblLow = record->dblMedium = record->dblHigh = 1;
    put(record->szBlacklistFile, "other.txt");
    record->dwBlacklistCount = 1;
    put(record->blacklist[0].szEntry, "b1");
    ASSERT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_OK);
    EXPECT_EQ(tree::number(kPopKey, "Level"), 2u);
    EXPECT_EQ(tree::storedText(kPopKey, "Low"), std::string("90\0", 3));
    EXPECT_EQ(tree::storedText(kPopKey, "Medium"), std::string("70.5\0", 5));
    EXPECT_EQ(tree::storedText(kPopKey, "High"), std::string("1e1\0", 4));
    EXPECT_EQ(tree::storedText(kPopKey, "Blacklist"), std::string("other.txt\0", 10));
    EXPECT_EQ(getFile("white.txt"), "w1\nw2\n");
    EXPECT_EQ(getFile("other.txt"), "b1\n");
    EXPECT_TRUE(library.logged("WriteConfig (ret=0, Level=2)"));
    EXPECT_TRUE(library.logged("ReadConfig (ret=0, Level=1)"));

    record->dwBlacklistCount = 0;
    ASSERT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_OK);
    EXPECT_EQ(getFile("other.txt"), "");

    put(record->szWhitelistFile, ""); // the other list is saved all the same
    record->dwBlacklistCount = 1;
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
    EXPECT_EQ(getFile("other.txt"), "b1\n");
    EXPECT_TRUE(library.logged("WriteConfig (ret=-8, Level=2)"));
}

TEST_F(AntiSpamLists, WhatAFileCouldntGiveBackIsRefusedWhole) {
    const auto good = readLists();
    good->dwLevel = 0;
    struct Case {
        const char* what;
        void (*spoil)(WdpeAspmData& record);
        const char* line;
    };
    const Case cases[] = {
        {"501 of the white list", [](WdpeAspmData& r) { r.dwWhitelistCount = 501; },
         "WriteConfig: tried to write too many whitelist record: 501"},
        {"more of the black list", [](WdpeAspmData& r) { r.dwBlacklistCount = 0xFFFFFFFF; },
         "WriteConfig: tried to write too many blacklist record: 4294967295"},
        {"an entry without an end",
         [](WdpeAspmData& r) {
             r.dwBlacklistCount = 2;
             std::memset(r.blacklist[1].szEntry, 'e', sizeof r.blacklist[1].szEntry);
         },
         "WriteConfig: an entry isn't one line (file=black.txt)"},
        {"two lines in one",
         [](WdpeAspmData& r) {
             r.dwWhitelistCount = 1;
             put(r.whitelist[0].szEntry, "a\nb");
         },
         "WriteConfig: an entry isn't one line (file=white.txt)"},
        {"an entry that ends as a line may",
         [](WdpeAspmData& r) {
             r.dwWhitelistCount = 1;
             put(r.whitelist[0].szEntry, "a\r");
         },
         "WriteConfig: an entry isn't one line (file=white.txt)"},
        {"a name without an end",
         [](WdpeAspmData& r) { std::memset(r.szWhitelistFile, 'n', sizeof r.szWhitelistFile); },
         "Reg write failed (key=Whitelist, ret=-3)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto record = std::make_unique<WdpeAspmData>(*good);
        c.spoil(*record);
        EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_INVALID_ARGUMENT);
        EXPECT_TRUE(library.logged(c.line));
    }
    EXPECT_EQ(tree::number(kPopKey, "Level"), 1u);
    EXPECT_FALSE(std::filesystem::exists(home / "install" / "white.txt"));
    good->dwWhitelistCount = good->dwBlacklistCount = WDLT_MAX_ASPM_RECORDS; // the most
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *good), WDLT_OK);
}

// Whoever read a list as empty because its file couldn't be had must not lose its entries by writing back what he read,
// nor by what he has added to it. All else that he writes is stored.
TEST_F(AntiSpamLists, AListThatCouldntBeReadIsNotReplaced) {
    putFile("white.txt", "w\n");
    putFile("black.txt", "b\n");
    const auto config = [&] {
        tree::setNumber(kPopKey, "Level", 1);
        tree::setText(kCommonKey, "PrefixSpam", "old");
        WdltAspmConfig record{};
        record.dwLevel = 2;
        put(record.szPrefixSpam, "new");
        EXPECT_EQ(WDLT_CALL(library, WdltAspmWriteConfig)(&record), WDLT_E_FILE);
        EXPECT_EQ(tree::number(kPopKey, "Level"), 2u);
        EXPECT_EQ(tree::storedText(kCommonKey, "PrefixSpam"), std::string("new\0", 4));
    };
    const Handle mutex = makeMutex("Global\\WDPE_AspmList_Access_Mutex");
    const auto abandon = [&] { ASSERT_EQ(waitElsewhere(mutex, INFINITE), WAIT_OBJECT_0); }; // its holder has died
    abandon();
    config();
    abandon();
    EXPECT_THAT(list(WDLT_LIST_WHITE), IsEmpty());
    EXPECT_THAT(list(WDLT_LIST_WHITE), ElementsAre("w")); // it was given back by the one that found it abandoned
    abandon();
    auto record = readLists(); // a caller of the address itself
    EXPECT_EQ(record->dwUnreadLists, WDLT_ASPM_UNREAD | WDLT_ASPM_UNREAD_WHITE);
    EXPECT_EQ(record->dwBlacklistCount, 1u);
    for (const std::uint32_t count : {0u, 1u}) { // unchanged, and with what was added
        record->dwWhitelistCount = count;
        put(record->whitelist[0].szEntry, "x");
        EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
    }
    EXPECT_TRUE(library.logged("WriteConfig: a list that couldn't be read isn't replaced (file=white.txt)"));
    abandon();
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, {"x"}), WDLT_E_FILE);
    EXPECT_EQ(getFile("white.txt"), "w\n");
    record->dwUnreadLists = 0; // who means it
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_OK);
    EXPECT_EQ(getFile("white.txt"), "x\n");
    EXPECT_EQ(getFile("black.txt"), "b\n");

    ASSERT_EQ(waitFor(mutex, INFINITE), WAIT_OBJECT_0);
    // The library would take it again in this thread.
    std::thread([&] {
        EXPECT_THAT(list(WDLT_LIST_WHITE), IsEmpty());
        config();
        EXPECT_EQ(writeList(WDLT_LIST_BLACK, {"new"}), WDLT_E_FILE);
    }).join();
    ReleaseMutex(mutex.get());
    EXPECT_EQ(getFile("white.txt"), "x\n");
    EXPECT_EQ(getFile("black.txt"), "b\n");

    // Nobody can say where the files are when they are read; when they are written it is known again.
    tree::setText("", "InstallPath", "");
    record = readLists();
    tree::setText("", "InstallPath", (home / "install").string() + "/");
    EXPECT_EQ(record->dwUnreadLists, WDLT_ASPM_UNREAD | WDLT_ASPM_UNREAD_WHITE | WDLT_ASPM_UNREAD_BLACK);
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
    EXPECT_EQ(getFile("white.txt"), "x\n");

    // Something stands where the file should be. Without the mark, too, it stays, and the other list is stored.
    std::filesystem::remove(home / "install" / "white.txt");
    std::filesystem::create_directory(home / "install" / "white.txt");
    config();
    record = readLists();
    EXPECT_EQ(record->dwUnreadLists, WDLT_ASPM_UNREAD | WDLT_ASPM_UNREAD_WHITE);
    record->dwUnreadLists = 0xEEEEEEEE; // as a caller may leave what he doesn't know
    put(record->blacklist[0].szEntry, "c");
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
    EXPECT_EQ(getFile("black.txt"), "c\n");
    EXPECT_TRUE(std::filesystem::is_directory(home / "install" / "white.txt"));
}

// Whichever system call of a read fails, of the first piece or the second: the whole list, or the mark and none of it.
TEST_F(AntiSpamLists, AReadThatFailsIsNoShorterList) {
    std::string lines;
    for (int i = 0; i < 300; ++i)
        lines += std::string(40, 'x') + "\n";
    putFile("white.txt", lines);
    for (const auto& [call, error] : {std::pair{"read", EIO}, {"open", EMFILE}}) {
        int unread = 0;
        for (int nth = 1; nth <= 8; ++nth) {
            SCOPED_TRACE(testing::Message() << call << ' ' << nth);
            WdTestFailCall(call, nth, error);
            const auto record = readLists();
            WdTestFailCall(call, 0, 0);
            const bool isRead = (record->dwUnreadLists & WDLT_ASPM_UNREAD_WHITE) == 0;
            EXPECT_EQ(record->dwWhitelistCount, isRead ? 300u : 0u);
            EXPECT_EQ(record->whitelist[0].szEntry[0], isRead ? 'x' : '\0');
            unread += isRead ? 0 : 1;
        }
        EXPECT_GE(unread, std::string(call) == "read" ? 2 : 1);
    }
}

// No file can be made beside it: the folder is another's. Every refused call but the one that opens the file itself.
TEST_F(AntiSpamLists, WhereNoFileCanBeMadeBesideItTheFileIsWrittenInPlace) {
    const auto file = [&] { return statusOf(home / "install" / "white.txt").st_ino; };
    int inPlace = 0;
    for (int nth = 1; nth < 20; ++nth) {
        SCOPED_TRACE(nth);
        putFile("white.txt", "old\n");
        const auto before = file();
        WdTestFailCall("open", nth, EACCES);
        const std::int32_t status = writeList(WDLT_LIST_WHITE, {"new"});
        WdTestFailCall("open", 0, 0);
        const std::string left = getFile("white.txt");
        EXPECT_TRUE(left == "new\n" || (left == "old\n" && status != WDLT_OK)) << left; // or it's the other list
        inPlace += status == WDLT_OK && file() == before ? 1 : 0;
    }
    EXPECT_GT(inPlace, 0);
}

TEST_F(AntiSpamLists, ListsThroughTheirFunctions) {
    ChangeListener service;
    const auto read = [&](WdpeAspmEntry* entries, std::int32_t* count) {
        return WDLT_CALL(library, WdltAspmReadRecordList)(WDLT_LIST_WHITE, entries, count);
    };
    const auto write = WDLT_CALL(library, WdltAspmWriteRecordList);
    ASSERT_EQ(writeList(WDLT_LIST_WHITE, {"a", "b", "c"}), WDLT_OK);
    ASSERT_EQ(writeList(WDLT_LIST_BLACK, {"x"}), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kListsChange, kListsChange));
    EXPECT_THAT(list(WDLT_LIST_BLACK), ElementsAre("x"));
    expectReadAsFarAsThereIsRoom(
        read, WdpeAspmEntry{"untouched"}, [](const auto& stored) { return stored.szEntry; }, Texts{"a", "b", "c"});

    WdpeAspmEntry entry{"new"};
    std::int32_t count = 1;
    EXPECT_EQ(WDLT_CALL(library, WdltAspmReadRecordList)(2, &entry, &count), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(0xFFFFFFFF, &entry, 1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_LIST_WHITE, &entry, -1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, Texts(501, "e")), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, {std::string(256, 'e')}), WDLT_E_INVALID_ARGUMENT);
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_EQ(getFile("white.txt"), "a\nb\nc\n");
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, Texts(500, std::string(255, 'e'))), WDLT_OK);
    EXPECT_EQ(list(WDLT_LIST_WHITE), Texts(500, std::string(255, 'e')));
    tree::setText(kPopKey, "High", "");
    EXPECT_EQ(read(&entry, &count), WDLT_E_REGISTRY);
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, {"a"}), WDLT_E_REGISTRY);
    EXPECT_THAT(service.heard().size(), 1u);
    for (const char* const line : {"Read(): Unknown list type: 2", "Write(): Unknown list type: -1",
                                   "Write(): count 501 exceeds the maximum", "Write(): Failed to write config: -3",
                                   "Read(): Failed to read config: -9", "Write(): Failed to read config: -9"})
        EXPECT_TRUE(library.logged(std::string("CFuncAspm::RecordList").append(line))) << line;
}

} // namespace

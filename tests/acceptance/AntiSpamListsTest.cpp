// The lists of anti-spam, through the library: files that people also edit, what can be written to them, and files that
// can't be read.
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
    std::string sixHundred;
    for (int i = 0; i < 600; ++i)
        sixHundred += "line\n\n";
    Texts pieces(16, std::string(255, 'p'));
    pieces.insert(pieces.end(), {std::string(15, 'p'), "q"});
    const struct {
        const char* what;
        std::string content;
        Texts entries;
    } cases[] = {
        {"both ends of a line", "a@b.c\nd@e.f\r\n\r\ng\r\n", {"a@b.c", "d@e.f", "g"}},
        {"a carriage return of its own", "a\rb\nc\r\r\n", {"a\rb", "c\r"}},
        {"a zero byte ends an entry", std::string("ab\0cd\n\0\nef\n", 11), {"ab", "ef"}},
        {"255 characters, the other end", longest + "\r\ny\r\n", {longest, "y"}},
        {"256 characters", longest + "m\ny\n", {longest, "m", "y"}},
        {"a line's end beyond a piece of the file", std::string(4095, 'p') + "\r\nq", pieces},
        {"600 lines", sixHundred, Texts(WDLT_MAX_ASPM_RECORDS, "line")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        putFile("black.txt", c.content);
        const auto record = readLists();
        EXPECT_EQ(textsOf(record->blacklist, record->dwBlacklistCount), c.entries);
        EXPECT_EQ(record->dwUnreadLists, 0u); // the other list has no file, which is no failure
    }
}

TEST_F(AntiSpamLists, FilesLieInTheInstallDirectoryWhateverTheirNameSays) {
    putFile("white.txt", "here\n");
    for (const std::string name : {"C:\\lists\\white.txt", "../white.txt", "lists/"}) {
        SCOPED_TRACE(name);
        tree::setText(kPopKey, "Whitelist", name);
        const auto record = readLists();
        const bool isFile = name.back() != '/';
        EXPECT_EQ(textsOf(record->whitelist, record->dwWhitelistCount), isFile ? Texts{"here"} : Texts{});
        EXPECT_STREQ(record->szWhitelistFile, isFile ? "white.txt" : "");
    }
}

TEST_F(AntiSpamLists, AWriteTouchesEverythingButTheThresholds) {
    putFile("white.txt", "w1\r\nw2\r\n");
    const auto record = readLists();
    record->dwLevel = 2;
    record->dblLow = record->dblMedium = record->dblHigh = 1;
    put(record->szBlacklistFile, "../other.txt");
    record->dwBlacklistCount = 1;
    put(record->blacklist[0].szEntry, "b1");
    ASSERT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_OK);
    EXPECT_EQ(tree::number(kPopKey, "Level"), 2u);
    for (const auto& [name, text] : {std::pair{"Low", "90"}, {"Medium", "70.5"}, {"High", "1e1"}})
        EXPECT_EQ(tree::storedText(kPopKey, name), std::string(text) + '\0');
    EXPECT_EQ(tree::storedText(kPopKey, "Blacklist"), std::string("other.txt\0", 10));
    EXPECT_EQ(getFile("white.txt"), "w1\nw2\n");
    EXPECT_EQ(getFile("other.txt"), "b1\n");
    EXPECT_TRUE(library.logged("WriteConfig (ret=0, Level=2)"));
    put(record->szWhitelistFile, ""); // the other list is saved nevertheless
    put(record->blacklist[0].szEntry, "b2");
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
    EXPECT_EQ(getFile("other.txt"), "b2\n");
    EXPECT_TRUE(library.logged("WriteConfig (ret=-8, Level=2)"));
}

TEST_F(AntiSpamLists, WhatAFileCouldntGiveBackIsRefusedWhole) {
    const auto good = readLists();
    good->dwLevel = 0;
    const struct {
        void (*spoil)(WdpeAspmData& record);
        const char* line;
    } cases[] = {
        {[](WdpeAspmData& r) { r.dwWhitelistCount = 501; },
         "WriteConfig: tried to write too many whitelist record: 501"},
        {[](WdpeAspmData& r) { r.dwBlacklistCount = 0xFFFFFFFF; },
         "WriteConfig: tried to write too many blacklist record: 4294967295"},
        {[](WdpeAspmData& r) {
             r.dwBlacklistCount = 2;
             std::memset(r.blacklist[1].szEntry, 'e', sizeof r.blacklist[1].szEntry);
         },
         "WriteConfig: an entry isn't one line (file=black.txt)"},
        {[](WdpeAspmData& r) {
             r.dwWhitelistCount = 1;
             put(r.whitelist[0].szEntry, "a\r");
         },
         "WriteConfig: an entry isn't one line (file=white.txt)"},
        {[](WdpeAspmData& r) {
             r.dwWhitelistCount = 1;
             put(r.whitelist[0].szEntry, "a\nb");
         },
         "WriteConfig: an entry isn't one line (file=white.txt)"},
        {[](WdpeAspmData& r) { std::memset(r.szWhitelistFile, 'n', sizeof r.szWhitelistFile); },
         "Reg write failed (key=Whitelist, ret=-3)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const auto record = std::make_unique<WdpeAspmData>(*good);
        c.spoil(*record);
        EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_INVALID_ARGUMENT);
        EXPECT_TRUE(library.logged(c.line));
    }
    EXPECT_EQ(tree::number(kPopKey, "Level"), 1u);
    EXPECT_FALSE(std::filesystem::exists(home / "install" / "white.txt"));
}

// A caller that read a list as empty because its file couldn't be read must not destroy it by writing back what it
// read, with or without additions. Everything else that it writes is stored.
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
    const auto abandon = [&] { ASSERT_EQ(waitElsewhere(mutex, INFINITE), WAIT_OBJECT_0); }; // leaves it abandoned
    abandon();
    EXPECT_THAT(list(WDLT_LIST_WHITE), IsEmpty());
    EXPECT_THAT(list(WDLT_LIST_WHITE), ElementsAre("w")); // the call that found it abandoned has released it
    abandon();
    auto record = readLists(); // read at its address
    EXPECT_EQ(record->dwUnreadLists, WDLT_ASPM_UNREAD | WDLT_ASPM_UNREAD_WHITE);
    for (const std::uint32_t count : {0u, 1u}) { // unchanged, and with an addition
        record->dwWhitelistCount = count;
        put(record->whitelist[0].szEntry, "x");
        EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
    }
    EXPECT_TRUE(library.logged("WriteConfig: a list that couldn't be read isn't replaced (file=white.txt)"));
    EXPECT_EQ(getFile("white.txt"), "w\n");
    record->dwUnreadLists = 0; // replaces the list on purpose
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_OK);
    EXPECT_EQ(getFile("white.txt"), "x\n");

    ASSERT_EQ(waitFor(mutex, INFINITE), WAIT_OBJECT_0);
    // In another thread: in this one the library would take the mutex recursively.
    std::thread([&] {
        EXPECT_THAT(list(WDLT_LIST_WHITE), IsEmpty());
        config();
        EXPECT_EQ(writeList(WDLT_LIST_BLACK, {"new"}), WDLT_E_FILE);
    }).join();
    ReleaseMutex(mutex.get());
    EXPECT_EQ(getFile("white.txt"), "x\n");
    EXPECT_EQ(getFile("black.txt"), "b\n");

    // The files' location is unknown when they are read, and known again when they are written.
    tree::setText("", "InstallPath", "");
    record = readLists();
    tree::setText("", "InstallPath", (home / "install").string() + "/");
    EXPECT_EQ(record->dwUnreadLists, WDLT_ASPM_UNREAD | WDLT_ASPM_UNREAD_WHITE | WDLT_ASPM_UNREAD_BLACK);
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);

    // A directory in the file's place stays even when the caller clears the mark, and the other list is stored.
    std::filesystem::remove(home / "install" / "white.txt");
    std::filesystem::create_directory(home / "install" / "white.txt");
    config();
    record = readLists();
    EXPECT_EQ(record->dwUnreadLists, WDLT_ASPM_UNREAD | WDLT_ASPM_UNREAD_WHITE);
    record->dwUnreadLists = 0xEEEEEEEE; // as left by a caller that doesn't know the field
    put(record->blacklist[0].szEntry, "c");
    EXPECT_EQ(write(WDLT_PROTOCOL_POP3, 0, *record), WDLT_E_FILE);
    EXPECT_EQ(getFile("black.txt"), "c\n");
    EXPECT_TRUE(std::filesystem::is_directory(home / "install" / "white.txt"));
}

// Whichever read call fails, for the first part of the file or the second: a read gives the whole list, or the mark and
// no entries.
TEST_F(AntiSpamLists, AReadThatFailsIsNoShorterList) {
    std::string lines;
    for (int i = 0; i < 300; ++i)
        lines += std::string(40, 'x') + "\n";
    putFile("white.txt", lines);
    int unread = 0;
    for (int nth = 1; nth <= 8; ++nth) {
        SCOPED_TRACE(nth);
        WdTestFailCall("read", nth, EIO);
        const auto record = readLists();
        WdTestFailCall("read", 0, 0);
        const bool isRead = (record->dwUnreadLists & WDLT_ASPM_UNREAD_WHITE) == 0;
        EXPECT_EQ(record->dwWhitelistCount, isRead ? 300u : 0u);
        EXPECT_EQ(record->whitelist[0].szEntry[0], isRead ? 'x' : '\0');
        unread += isRead ? 0 : 1;
    }
    EXPECT_GE(unread, 2);
}

// Each call of open fails in turn: when it is the one that creates the new file, as in another user's folder, the old
// file is written in place.
TEST_F(AntiSpamLists, WhereNoFileCanBeMadeBesideItTheFileIsWrittenInPlace) {
    int inPlace = 0;
    for (int nth = 1; nth < 20; ++nth) {
        putFile("white.txt", "old\n");
        const auto before = statusOf(home / "install" / "white.txt").st_ino;
        WdTestFailCall("open", nth, EACCES);
        const bool isWritten = writeList(WDLT_LIST_WHITE, {"new"}) == WDLT_OK;
        WdTestFailCall("open", 0, 0);
        EXPECT_TRUE(getFile("white.txt") == "new\n" || !isWritten) << nth;
        inPlace += isWritten && statusOf(home / "install" / "white.txt").st_ino == before ? 1 : 0;
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
    expectReadAsFarAsThereIsRoom(
        read, WdpeAspmEntry{"untouched"}, [](const auto& stored) { return stored.szEntry; }, Texts{"a", "b", "c"});

    WdpeAspmEntry entry{"new"};
    std::int32_t count = 1;
    EXPECT_EQ(WDLT_CALL(library, WdltAspmReadRecordList)(2, &entry, &count), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(0xFFFFFFFF, &entry, 1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_LIST_WHITE, &entry, -1), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, Texts(501, "e")), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, {std::string(256, 'e')}), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(getFile("white.txt"), "a\nb\nc\n");
    const Texts most(500, std::string(255, 'e'));
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, most), WDLT_OK);
    EXPECT_EQ(list(WDLT_LIST_WHITE), most);
    tree::setText(kPopKey, "High", "");
    EXPECT_EQ(read(&entry, &count), WDLT_E_REGISTRY);
    EXPECT_EQ(writeList(WDLT_LIST_WHITE, {"a"}), WDLT_E_REGISTRY);
    for (const char* const line : {"Read(): Unknown list type: 2", "Write(): count 501 exceeds the maximum",
                                   "Write(): Failed to write config: -3", "Read(): Failed to read config: -9"})
        EXPECT_TRUE(library.logged(std::string("CFuncAspm::RecordList").append(line))) << line;
}

} // namespace

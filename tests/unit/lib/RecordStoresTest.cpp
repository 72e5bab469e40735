// The six record stores, from list to file and back: sizes, limits and codes, a mutex held by others, places that can't
// be written, and failing reads.
#include "StoreFiles.h"

#include <LogFile.h>
#include <TimeScale.h>

#include <platform/testing.h>
#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace store_files;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

int g_readsToFailure = 0; // 0: none fails
int g_failures = 0;       // consecutive

} // namespace

// Fails when requested, but moves the file position as the read would have.
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD got, void* overlapped) {
    static const auto layers = reinterpret_cast<decltype(&ReadFile)>(dlsym(RTLD_NEXT, "ReadFile"));
    const BOOL done = layers(file, buffer, bytes, got, overlapped);
    if (g_readsToFailure == 0 || --g_readsToFailure > 0)
        return done;
    g_readsToFailure = --g_failures > 0 ? 1 : 0;
    *got = 0;
    SetLastError(ERROR_REGISTRY_IO_FAILED);
    return FALSE;
}

namespace {

std::string errorLine(const Subject& subject, const std::string& text) {
    return std::string("!!! ").append(subject.name).append(": ").append(text);
}

class RecordStores : public StoreTest, public testing::WithParamInterface<Subject> {
  protected:
    const Subject& s = GetParam();
    const bool isChained = s.form == Form::Chained;
    const std::string untouched = std::string(s.listBytes(), kUntouched);
    const std::string frame = isChained ? "!!! CEncryptedDB" : "!!! CUrlFilterDB"; // what its log lines begin with
};

INSTANTIATE_TEST_SUITE_P(Each, RecordStores, testing::ValuesIn(subjects()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(RecordStores, AFullListComesBack) {
    const std::string list = listOf(s, s.maximum);
    EXPECT_EQ(write(s, "list", list), 0);
    EXPECT_TRUE(list == listOf(s, s.maximum)) << "the caller's list was changed";
    EXPECT_TRUE(get("list") == fileOf(s, s.maximum));
    EXPECT_TRUE(read(s, "list") == (Got{0, list}));
    put("list", get("list") + "and more");
    EXPECT_TRUE(read(s, "list") == (Got{0, list})) << "what stands behind the last record matters";
    EXPECT_EQ(temporaryFiles(), 0);
}

TEST_P(RecordStores, GoldenFilesReadAndAreWrittenAgain) {
    std::ifstream file(std::string(WDLT_GOLDEN) + "/" + s.golden, std::ios::binary);
    const std::string golden{std::istreambuf_iterator<char>(file), {}};
    ASSERT_FALSE(golden.empty());
    put("list", golden);
    const Got got = read(s, "list");
    EXPECT_TRUE(got == (Got{0, listOf(s, 3)}));
    EXPECT_EQ(write(s, "again", got.list), 0);
    EXPECT_TRUE(get("again") == golden);
}

TEST_P(RecordStores, SizesOfTheCallersList) {
    const std::string list = listOf(s, 1);
    const std::string path = at("list").string();
    const auto store = make(s);
    const std::uint64_t whole = s.listBytes();
    const struct {
        std::uint64_t size;
        std::int32_t written, read;
    } cases[] = {
        {whole - 1, WDLT_E_INVALID_ARGUMENT, WDLT_E_BUFFER_SIZE},
        {whole, WDLT_OK, WDLT_OK},
        {whole + 100, WDLT_E_INVALID_ARGUMENT, WDLT_OK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        std::uint64_t size = c.size;
        EXPECT_EQ(store->Write(path.c_str(), list.data(), &size), c.written);
        std::string got(whole + 100, kUntouched);
        EXPECT_EQ(store->Read(path.c_str(), got.data(), &size), c.read);
        EXPECT_EQ(size, std::max(c.size, whole));
        EXPECT_TRUE(got == (c.read == WDLT_OK ? list : untouched) + std::string(100, kUntouched));
    }
    EXPECT_TRUE(get("list") == fileOf(s, 1));
}

TEST_P(RecordStores, AMissingFile) {
    std::string empty = listOf(s, 0);
    std::fill(empty.begin() + static_cast<std::ptrdiff_t>(s.headBytes()), empty.end(), '\0');
    const struct {
        const char* name;
        std::int32_t code;
        std::string line; // up to the path
    } cases[] = {
        {"missing", WDLT_E_FILE_NOT_FOUND,
         isChained ? "" : "@@@ CUrlFilterDB::OpenDBToRead(): no database file (err=2, file="},
        {"no/list", WDLT_E_FILE, frame + "::OpenDBToRead(): ::CreateFile() failed (err=3, file="},
        {"temp", WDLT_E_FILE, frame + "::OpenDBToRead(): ::CreateFile() failed (err=5, file="},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const LogFile log;
        EXPECT_TRUE(read(s, c.name) == (isChained ? Got{0, empty} : Got{c.code, untouched}));
        std::vector<std::string> lines;
        if (!c.line.empty())
            lines.push_back(c.line + at(c.name).string() + ")");
        EXPECT_EQ(log.messages(), lines);
    }
}

TEST_P(RecordStores, CountsBeyondTheLimit) {
    const bool cuts = s.form != Form::Fixed;
    for (const std::uint32_t count : {s.maximum + 1, 0xFFFFFFFFu}) {
        SCOPED_TRACE(count);
        put("list", FileMaker(s, count).records(s.maximum).content());
        const LogFile log;
        EXPECT_EQ(write(s, "new", listOf(s, count, s.maximum)), WDLT_E_INVALID_ARGUMENT);
        EXPECT_TRUE(read(s, "list") == (cuts ? Got{0, listOf(s, s.maximum)} : Got{WDLT_E_GENERAL, untouched}));
        const std::string number = std::to_string(count);
        EXPECT_THAT(log.messages(), ElementsAre(errorLine(s, "Too big value (dwNumOfRecords=" + number + ")"),
                                                errorLine(s, "The DB file contains too many record (count=" + number +
                                                                 ", file=" + at("list").string() + ")")));
    }
}

TEST_P(RecordStores, FilesOfAnotherStoreAreRefused) {
    for (const Subject& other : subjects()) {
        if (s.name == std::string(other.name))
            continue;
        put("list", fileOf(other, 2));
        const Got got = read(s, "list");
        EXPECT_TRUE(got.code == WDLT_E_FILE || (isChained && got.code == WDLT_E_GENERAL)) << other << ": " << got.code;
        EXPECT_TRUE(got.list == untouched) << other;
    }
    // The store's own format, enciphered with another key.
    put("list", FileMaker(s, 1, wdlt::kPrivacyKey).records(1).content());
    EXPECT_EQ(read(s, "list").code, WDLT_E_GENERAL);
}

TEST_P(RecordStores, TheMutexOfOthers) {
    put("list", fileOf(s, 1));
    const Got whole{0, listOf(s, 1)};
    const TimeScale minuteInMilliseconds("0.0005");
    const auto reads = errorLine(s, "Failed to lock for reading DB");
    const auto writes = errorLine(s, "Failed to lock for writing DB");
    {
        const Handle held = makeMutex(("Global\\" + s.mutex).c_str(), true);
        const LogFile log;
        std::thread([&] {
            EXPECT_TRUE(read(s, "list") == (Got{WDLT_E_GENERAL, untouched}));
            EXPECT_EQ(write(s, "list", listOf(s, 2)), WDLT_E_GENERAL);
        }).join();
        const std::string waited = frame + "::Lock(): WaitForSingleObject() fails (WAIT_TIMEOUT)";
        EXPECT_THAT(log.messages(), ElementsAre(waited, reads, waited, writes));
    }
    EXPECT_TRUE(read(s, "list") == whole);
    {
        const Handle foreign = makeEvent(("Global\\" + s.mutex).c_str(), true, true);
        const LogFile log;
        EXPECT_TRUE(read(s, "list") == (Got{WDLT_E_GENERAL, untouched}));
        EXPECT_THAT(log.messages(), ElementsAre(frame + "::Lock(): CreateMutex() fails (err=6)", reads));
    }
    {
        const Handle abandoned = abandonedMutex(s.mutex);
        EXPECT_TRUE(read(s, "list") == (Got{WDLT_E_GENERAL, untouched}));
        EXPECT_TRUE(read(s, "list") == whole);
        EXPECT_EQ(waitElsewhere(abandoned), WAIT_OBJECT_0) << "who failed kept it";
    }
    const Handle abandoned = abandonedMutex(s.mutex);
    EXPECT_EQ(write(s, "list", listOf(s, 2)), WDLT_E_GENERAL);
    EXPECT_TRUE(get("list") == fileOf(s, 1));
    EXPECT_EQ(write(s, "list", listOf(s, 2)), 0);
    EXPECT_EQ(temporaryFiles(), 0);
}

TEST_F(StoreTest, ATextOfNoBytesOrWithoutAnEndIsRefused) {
    const struct {
        const char* store;
        const char* empty;
        const char* endless;
    } cases[] = {{"CUrlListDB", "URL record size is zero", "URL record has no terminator"},
                 {"CSpyListDB", "Spyware record size is zero", "Spyware record has no terminator"}};
    for (const auto& c : cases)
        for (const bool isEmpty : {true, false}) {
            const Subject& s = subject(c.store);
            std::string list = listOf(s, s.maximum); // the buffer ends with the last slot
            std::fill_n(list.end() - static_cast<std::ptrdiff_t>(s.slotBytes), s.slotBytes, isEmpty ? '\0' : 'x');
            const LogFile log;
            EXPECT_EQ(write(s, "list", list), WDLT_E_INVALID_ARGUMENT);
            EXPECT_THAT(log.messages(), ElementsAre(errorLine(s, isEmpty ? c.empty : c.endless)));
            EXPECT_FALSE(fs::exists(at("list")));
            EXPECT_EQ(temporaryFiles(), 0);
        }
}

TEST_P(RecordStores, WhatCannotBeWrittenHasItsCodeAndLine) {
    const std::string before = fileOf(s, 1);
    const std::string list = listOf(s, 2);
    put("list", before);
    EXPECT_EQ(read(s, "list").code, 0); // a home's first mutex would add writes
    const struct {
        const char* target;
        const char* temp;
        int failingWrite;
        std::int32_t code;
        std::string line;
    } cases[] = {
        {"list", "temp", 1, WDLT_E_FILE, frame + ": ::WriteFile() failed (err=112, file="},
        {"list", "temp", 2, WDLT_E_TEMP_FILE, frame + "::CopyTempFileToDB: ::CopyFile() failed (err=112, from="},
        {"no/list", "temp", 0, WDLT_E_TEMP_FILE, frame + "::CopyTempFileToDB: ::CopyFile() failed (err=3, from="},
        {"temp", "temp", 0, WDLT_E_TEMP_FILE, frame + "::CopyTempFileToDB: ::CopyFile() failed (err=5, from="},
        {"list", "no", 0, WDLT_E_TEMP_FILE, frame + "::OpenTempFileToWrite(): ::GetTempFileName() failed (path="},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const LogFile log;
        const auto store = s.make();
        store->setTempFolder(at(c.temp).string());
        std::uint64_t size = list.size();
        WdTestFailCall("write", c.failingWrite, ENOSPC);
        EXPECT_EQ(store->Write(at(c.target).c_str(), list.data(), &size), c.code);
        EXPECT_THAT(log.messages(), Contains(StartsWith(c.line)));
        EXPECT_TRUE(get("list") == before);
        EXPECT_EQ(temporaryFiles(), 0);
    }
}

// One failure hits the read of a piece, which is then read again item by item; a second one hits the read of an item.
TEST_P(RecordStores, APieceThatCantBeReadCostsNoRecord) {
    const Got whole{0, listOf(s, s.maximum)};
    put("list", fileOf(s, s.maximum));
    for (const int failures : {1, 2}) {
        g_readsToFailure = 0;
        for (int nth = 1; g_readsToFailure == 0 && !HasFailure(); ++nth) {
            SCOPED_TRACE(testing::Message() << "read " << nth << ", failing " << failures << " times");
            g_readsToFailure = nth;
            g_failures = failures;
            const Got got = read(s, "list");
            const bool isLost = failures == 2 && g_readsToFailure == 0;
            EXPECT_TRUE(isLost ? got.code == WDLT_E_FILE : got == whole) << got.code;
        }
    }
    g_readsToFailure = 0;
}

} // namespace

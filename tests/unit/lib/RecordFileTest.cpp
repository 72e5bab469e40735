// The frame of the record files through a store of each family that has nothing of its own: its operations in the wrong
// order and with the wrong arguments, its mutex, its temporary files, and the lines that the log then has.
#include "RecordFile.h"
#include "EncryptedDB.h"
#include "UrlFilterDB.h"
#include "WdCommon/DebugLog.h"

#include "StoreFiles.h"

#include <LogFile.h>
#include <TimeScale.h>

#include <platform/testing.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;
using store_files::padded;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kMutex = "RecordFileTest_Mutex";
constexpr char kMagic[] = "A magic text of thirty-two bytes";
constexpr wdlt::StoreKey kKey{1, 2, 3};

template <class Family>
class BareStore : public Family {
  public:
    static constexpr bool kIsChained = std::is_same_v<Family, CEncryptedDB>;
    static constexpr const char* kName = kIsChained ? "CEncryptedDB" : "CUrlFilterDB";

    BareStore() {
        m_pszMutexName = kMutex;
        m_pszDBGuid = kMagic;
        m_dwDBVersion = 7;
    }
    std::int32_t Read(const char* /*file*/, void* /*buffer*/, std::uint64_t* /*size*/) override { return -1; }
    std::int32_t Write(const char* /*file*/, const void* /*buffer*/, std::uint64_t* /*size*/) override { return -1; }

    using Family::CloseFile;
    using Family::CopyTempFileToDB;
    using Family::DeleteTempFile;
    using Family::flushBytes;
    using Family::Lock;
    using Family::m_dwDBVersion;
    using Family::m_hFile;
    using Family::m_pszDBGuid;
    using Family::m_pszMutexName;
    using Family::OpenDBToRead;
    using Family::OpenTempFileToWrite;
    using Family::ReadData;
    using Family::ReadDBHeader;
    using Family::Unlock;
    using Family::WriteData;
    using Family::WriteDBHeader;

    std::int32_t ReadDBHeader() {
        DWORD count = 0;
        return Family::ReadDBHeader(count);
    }

    std::int32_t initStatus = 0;

  protected:
    std::int32_t InitEncryptionMethod(int forWriting) override {
        if constexpr (kIsChained)
            this->m_rijndael.Init(Rijndael::kCbc, forWriting == 0 ? Rijndael::kDecrypt : Rijndael::kEncrypt,
                                  kKey.data(), Rijndael::kKey16Bytes);
        return initStatus;
    }
};

template <class Family>
class RecordFrame : public store_files::StoreTest {
  protected:
    using Store = BareStore<Family>;
    static constexpr bool kIsChained = Store::kIsChained;

    // Lines as the log shows them.
    static std::string error(const std::string& text) { return std::string("!!! ").append(Store::kName).append(text); }
    static std::string trace(const std::string& text) { return std::string("@@@ ").append(Store::kName).append(text); }
    std::string path(const std::string& name) const { return at(name).string(); }

    void prepare(Store& store) const { store.setTempFolder(path("temp")); }
    // A file with a header and items of these bytes.
    void make(const std::string& name, const std::vector<std::string>& items) const {
        Store store;
        prepare(store);
        ASSERT_EQ(store.OpenTempFileToWrite(), 0);
        ASSERT_EQ(store.WriteDBHeader(static_cast<DWORD>(items.size())), 0);
        for (const std::string& item : items)
            ASSERT_EQ(store.WriteData(item.data(), static_cast<DWORD>(item.size())), 0);
        ASSERT_EQ(store.flushBytes(), 0);
        store.CloseFile();
        ASSERT_EQ(store.CopyTempFileToDB(path(name).c_str()), 0);
    }
    std::string temporaryFile() const {
        const auto entry = fs::directory_iterator(at("temp"));
        return entry == fs::directory_iterator() ? std::string() : entry->path().filename().string();
    }
    HANDLE opened(const std::string& name, DWORD access) const {
        return CreateFileA(path(name).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    }
};

using Families = testing::Types<CUrlFilterDB, CEncryptedDB>;
TYPED_TEST_SUITE(RecordFrame, Families);

TYPED_TEST(RecordFrame, RefusesWhatComesAtTheWrongTime) {
    using Store = typename TestFixture::Store;
    this->make("list", {"item"});
    const std::string list = this->path("list");
    char byte = 0;
    const auto toRead = [&](Store& store) { EXPECT_EQ(store.OpenDBToRead(list.c_str()), 0); };
    const auto toWrite = [&](Store& store) { EXPECT_EQ(store.OpenTempFileToWrite(), 0); };
    const auto inMode = [](const std::string& operation, int mode) {
        return "::" + operation + "(): Invalid mode (m_AccessMode=" + std::to_string(mode) + ")";
    };
    const struct {
        std::function<void(Store&)> before;
        std::function<std::int32_t(Store&)> call;
        std::string line;
    } cases[] = {
        {[](Store& store) { store.m_pszMutexName = nullptr; }, [](Store& store) { return store.Lock() ? 0 : -1; },
         "::Lock(): Not initialized (m_pszMutexName=NULL)"},
        {{}, [](Store& store) { return store.OpenDBToRead(nullptr); }, "::OpenDBToRead(): pszFilename=NULL"},
        {{}, [](Store& store) { return store.ReadDBHeader(); }, inMode("ReadDBHeader", 0)},
        {toWrite, [](Store& store) { return store.ReadDBHeader(); }, inMode("ReadDBHeader", 2)},
        {{}, [](Store& store) { return store.WriteDBHeader(1); }, inMode("WriteDBHeader", 0)},
        {toRead, [](Store& store) { return store.WriteDBHeader(1); }, inMode("WriteDBHeader", 1)},
        {{}, [&](Store& store) { return store.ReadData(&byte, 1); }, inMode("ReadData", 0)},
        {toWrite, [&](Store& store) { return store.ReadData(&byte, 1); }, inMode("ReadData", 2)},
        {{}, [&](Store& store) { return store.WriteData(&byte, 1); }, inMode("WriteData", 0)},
        {toRead, [&](Store& store) { return store.WriteData(&byte, 1); }, inMode("WriteData", 1)},
        {toRead, [&](Store& store) { return store.CopyTempFileToDB(list.c_str()); }, inMode("CopyTempFileToDB", 1)},
        {toWrite, [](Store& store) { return store.CopyTempFileToDB(nullptr); },
         "::CopyTempFileToDB(): pszFilename=NULL"},
        {toRead, [](Store& store) { return store.DeleteTempFile(); }, inMode("DeleteTempFile", 1)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        Store store;
        this->prepare(store);
        if (c.before)
            c.before(store);
        const LogFile log;
        EXPECT_EQ(c.call(store), -1);
        EXPECT_THAT(log.messages(), ElementsAre(this->error(c.line)));
    }
    EXPECT_EQ(this->temporaryFiles(), 0);
    EXPECT_TRUE(fs::exists(list));
}

TYPED_TEST(RecordFrame, AHeaderNeedsWhatTheStoreSets) {
    using Store = typename TestFixture::Store;
    this->make("list", {});
    const struct {
        std::function<void(Store&)> spoil;
        std::string why;
    } cases[] = {
        {[](Store& store) { store.m_pszDBGuid = nullptr; }, "m_pszDBGuid=NULL"},
        {[](Store& store) { store.m_dwDBVersion = 0; }, "m_dwDBVersion=0"},
        {[](Store& store) { store.CloseFile(); }, "m_hFile=INVALID_HANDLE_VALUE"}, // which leaves the mode
    };
    for (const auto& c : cases) {
        Store reader;
        ASSERT_EQ(reader.OpenDBToRead(this->path("list").c_str()), 0);
        Store writer;
        this->prepare(writer);
        ASSERT_EQ(writer.OpenTempFileToWrite(), 0);
        c.spoil(reader);
        c.spoil(writer);
        const LogFile log;
        EXPECT_EQ(reader.ReadDBHeader(), -1);
        EXPECT_EQ(writer.WriteDBHeader(0), -1);
        EXPECT_THAT(log.messages(), ElementsAre(this->error("::ReadDBHeader(): Not initialized (" + c.why + ")"),
                                                this->error("::WriteDBHeader(): Not initialized (" + c.why + ")")));
    }
}

TYPED_TEST(RecordFrame, TheMutexIsOneObjectsAtATime) {
    using Store = typename TestFixture::Store;
    const TimeScale minuteInMilliseconds("0.0005");
    const LogFile log;
    Store store;
    EXPECT_TRUE(store.Lock());
    EXPECT_FALSE(store.Lock());
    const auto elsewhere = [](Store& other) {
        bool locked = false;
        std::thread([&] {
            locked = other.Lock();
            other.Unlock();
        }).join();
        return locked;
    };
    Store other;
    EXPECT_FALSE(elsewhere(other)) << "the second Lock took the first one's hold away";
    EXPECT_THAT(log.messages(), ElementsAre(this->error("::Lock(): WaitForSingleObject() fails (WAIT_TIMEOUT)")));
    store.Unlock();
    store.Unlock();
    EXPECT_TRUE(elsewhere(other));
    {
        Store dropped;
        EXPECT_TRUE(dropped.Lock());
    }
    EXPECT_TRUE(elsewhere(other)) << "a dropped object kept the mutex";
}

TYPED_TEST(RecordFrame, AnAbandonedMutexFailsOnceAndAForeignObjectAlways) {
    using Store = typename TestFixture::Store;
    {
        const LogFile log;
        const Handle mutex = store_files::abandonedMutex(kMutex);
        Store store;
        EXPECT_FALSE(store.Lock());
        EXPECT_THAT(log.messages(), ElementsAre(this->error("::Lock(): WaitForSingleObject() fails (WAIT_ABANDONED)")));
        bool locked = false;
        std::thread([&] { locked = Store().Lock(); }).join();
        EXPECT_TRUE(locked) << "who failed kept it";
    }
    const LogFile log;
    const Handle event = makeEvent((std::string("Global\\") + kMutex).c_str(), true, true);
    EXPECT_FALSE(Store().Lock());
    EXPECT_THAT(log.messages(), ElementsAre(this->error("::Lock(): CreateMutex() fails (err=6)")));
}

TYPED_TEST(RecordFrame, WhatCannotBeOpened) {
    using Store = typename TestFixture::Store;
    const auto open = [](const std::string& path) { return Store().OpenDBToRead(path.c_str()); };
    {
        const LogFile log;
        const std::string missing = this->path("missing");
        EXPECT_EQ(open(missing), -6);
        if (TestFixture::kIsChained) {

            EXPECT_THAT(log.messages(), IsEmpty());
        } else {

            EXPECT_THAT(log.messages(),
                        ElementsAre(this->trace("::OpenDBToRead(): no database file (err=2, file=" + missing + ")")));
        }
    }
    for (const auto& [name, why] : {std::pair("no/list", "3"), std::pair("temp", "5")}) {
        const LogFile log;
        EXPECT_EQ(open(this->path(name)), -8);
        EXPECT_THAT(log.messages(), ElementsAre(this->error(std::string("::OpenDBToRead(): ::CreateFile() failed (err=")
                                                                .append(why)
                                                                .append(", file=")
                                                                .append(this->path(name))
                                                                .append(")"))));
    }
    this->make("list", {});
    const LogFile log;
    WDLOG_ERROR("opened with its first line");
    const auto before = openDescriptors();
    WdTestFailCall("lseek", 1, EIO);
    EXPECT_EQ(open(this->path("list")), -8);
    Store refuses;
    refuses.initStatus = -77;
    EXPECT_EQ(refuses.OpenDBToRead(this->path("list").c_str()), -77);
    EXPECT_THAT(log.messages(),
                ElementsAre("!!! opened with its first line",
                            StartsWith(this->error("::OpenDBToRead(): ::SetFilePointer() failed (err=")),
                            this->error("::OpenDBToRead(): InitEncryptionMethod() failed (-77)")));
    EXPECT_EQ(openDescriptors(), before);
}

TYPED_TEST(RecordFrame, ATemporaryFileLastsAsLongAsItsObject) {
    using Store = typename TestFixture::Store;
    const LogFile log;
    {
        Store store;
        this->prepare(store);
        ASSERT_EQ(store.OpenTempFileToWrite(), 0);
        EXPECT_THAT(this->temporaryFile(),
                    testing::MatchesRegex(TestFixture::kIsChained ? "enc[0-9A-F]+\\.tmp" : "url[0-9A-F]+\\.tmp"));
        EXPECT_EQ(store.DeleteTempFile(), 0);
        EXPECT_EQ(this->temporaryFiles(), 0);
        EXPECT_EQ(store.DeleteTempFile(), 0);
        ASSERT_EQ(store.OpenTempFileToWrite(), 0);
    }
    EXPECT_EQ(this->temporaryFiles(), 0) << "a dropped object left its file";
    EXPECT_THAT(log.messages(), IsEmpty());

    Store store;
    this->prepare(store);
    ASSERT_EQ(store.OpenTempFileToWrite(), 0);
    EXPECT_EQ(store.CopyTempFileToDB(this->path("no/list").c_str()), -13);
    const std::string temporary = this->path("temp") + "\\" + this->temporaryFile();
    fs::remove(this->at("temp") / this->temporaryFile());
    EXPECT_EQ(store.DeleteTempFile(), -13);
    store.setTempFolder(this->path("no"));
    EXPECT_EQ(store.OpenTempFileToWrite(), -13);
    EXPECT_THAT(log.messages(),
                ElementsAre(this->error("::CopyTempFileToDB: ::CopyFile() failed (err=3, from=" + temporary +
                                        ", to=" + this->path("no/list") + ")"),
                            this->error("::DeleteTempFile(): ::DeleteFile() failed (err=2, file=" + temporary + ")"),
                            this->error("::OpenTempFileToWrite(): ::GetTempFileName() failed (path=\"" +
                                        this->path("no") + "\", err=3)")));
}

TYPED_TEST(RecordFrame, ATemporaryFileThatCannotBeOpenedIsRemoved) {
    using Store = typename TestFixture::Store;
    const struct {
        const char* call;
        int nth;
        std::int32_t initStatus;
        std::int32_t code;
        std::string line;
    } cases[] = {
        {"open", 3, 0, -8, "::OpenTempFileToWrite(): ::CreateFile() failed (err="},
        {"lseek", 1, 0, -8, "::OpenTempFileToWrite(): ::SetFilePointer() failed (err="},
        {"lseek", 0, -77, -77, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const LogFile log;
        WDLOG_ERROR("opened with its first line");
        const auto before = openDescriptors();
        Store store;
        this->prepare(store);
        store.initStatus = c.initStatus;
        WdTestFailCall(c.call, c.nth, EIO);
        EXPECT_EQ(store.OpenTempFileToWrite(), c.code);
        EXPECT_EQ(this->temporaryFiles(), 0);
        EXPECT_EQ(store.WriteDBHeader(0), -1) << "the object took a file that it couldn't open";
        if (!c.line.empty()) {

            EXPECT_THAT(log.messages(), Contains(StartsWith(this->error(c.line))));
        }
        EXPECT_EQ(openDescriptors(), before);
    }
}

TYPED_TEST(RecordFrame, ItemsOfAnySizeComeBackThoughAReadFails) {
    using Store = typename TestFixture::Store;
    std::vector<std::string> items;
    std::size_t bytes = TestFixture::kIsChained ? 80 : 40;
    for (const std::size_t size : {1u, 15u, 16u, 17u, 65'496u, 65'536u, 65'537u, 3u, 200'000u, 7u, 40'000u, 40'000u}) {
        std::string item(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            item[i] = static_cast<char>(i * 7 + size);
        bytes += TestFixture::kIsChained ? padded(size) : size;
        items.push_back(std::move(item));
    }
    this->make("list", items);
    EXPECT_EQ(fs::file_size(this->at("list")), bytes);
    for (int failing = 0; failing <= 12; ++failing) {
        SCOPED_TRACE(failing);
        WdTestFailCall("read", failing, EIO);
        Store store;
        ASSERT_EQ(store.OpenDBToRead(this->path("list").c_str()), 0);
        DWORD count = 0;
        ASSERT_EQ(store.ReadDBHeader(count), 0);
        EXPECT_EQ(count, items.size());
        for (const std::string& item : items) {
            std::string got(item.size(), '?');
            const std::int32_t code = store.ReadData(got.data(), static_cast<DWORD>(got.size()));
            if (code != 0) { // a call of its own failed
                EXPECT_EQ(code, -8);
                break;
            }
            ASSERT_TRUE(got == item) << item.size();
        }
    }
    WdTestFailCall("read", 0, 0);
}

TYPED_TEST(RecordFrame, FileFailuresAreToldByCallFieldAndFile) {
    using Store = typename TestFixture::Store;
    constexpr bool kIsChained = TestFixture::kIsChained;
    this->make("list", {"12345"});
    const std::string file = ", file=" + this->path("list") + ")";
    std::array<char, 8> buffer{};
    {
        Store store;
        ASSERT_EQ(store.OpenDBToRead(this->path("list").c_str()), 0);
        store.m_hFile.open(this->opened("list", GENERIC_WRITE)); // it won't be read
        const LogFile log;
        EXPECT_EQ(store.ReadDBHeader(), -8);
        EXPECT_EQ(store.ReadData(buffer.data(), 5), -8);
        const auto read =
            this->error(std::string(kIsChained ? ": ::ReadData()" : ": ::ReadFile()") + " failed (err=5" + file);
        const auto header = this->error("::ReadDBHeader(): ::ReadFile() failed on reading GUID (err=5" + file);
        EXPECT_THAT(log.messages(), kIsChained ? testing::ElementsAreArray({read, header, read})
                                               : testing::ElementsAreArray({header, read}));
    }
    {
        Store store;
        this->prepare(store);
        ASSERT_EQ(store.OpenTempFileToWrite(), 0);
        store.m_hFile.open(this->opened("list", GENERIC_READ)); // it won't be written
        const LogFile log;
        EXPECT_EQ(store.WriteDBHeader(0), 0); // into the object's memory
        EXPECT_EQ(store.flushBytes(), -8);
        const std::string large(100'000, 'x');
        EXPECT_EQ(store.WriteData(large.data(), static_cast<DWORD>(large.size())), -8);
        const auto line = StartsWith(this->error(": ::WriteFile() failed (err=5, file="));
        EXPECT_THAT(log.messages(), ElementsAre(line, line));
    }
    const std::string whole = this->get("list");
    const struct {
        std::size_t bytes;
        std::string line;
    } cuts[] = {
        {20, kIsChained ? "::ReadDBHeader(): ::ReadFile() failed on reading GUID (err=0" + file
                        : "::ReadDBHeader(): Invalid GUID" + (" (" + file.substr(2))},
        {kIsChained ? 50u : 34u, kIsChained ? "::ReadDBHeader(): ::ReadFile() failed on reading version (err=0" + file
                                            : "::ReadDBHeader(): Invalid version (version=0x00000000" + file},
        {kIsChained ? 79u : 32u, kIsChained ? "::ReadDBHeader(): ::ReadFile() failed on reading count (err=0" + file
                                            : "::ReadDBHeader(): Invalid version (version=0x00000000" + file},
    };
    for (const auto& cut : cuts) {
        this->put("list", whole.substr(0, cut.bytes));
        Store store;
        ASSERT_EQ(store.OpenDBToRead(this->path("list").c_str()), 0);
        const LogFile log;
        SetLastError(0);
        EXPECT_EQ(store.ReadDBHeader(), -8);
        EXPECT_THAT(log.messages(), Contains(this->error(cut.line)));
    }
    this->put("list", whole.substr(0, whole.size() - 2));
    Store store;
    ASSERT_EQ(store.OpenDBToRead(this->path("list").c_str()), 0);
    ASSERT_EQ(store.ReadDBHeader(), 0);
    const LogFile log;
    EXPECT_EQ(store.ReadData(buffer.data(), 5), -8);
    EXPECT_THAT(log.messages(),
                ElementsAre(this->error((kIsChained ? ": Read size unmatched (dwReadSize=14, dwBlockSize=16"
                                                    : ": Read size unmatched (dwReadSize=3, dwSizeToRead=5") +
                                        file)));
}

TYPED_TEST(RecordFrame, AForeignMagicOrVersionIsRefused) {
    using Store = typename TestFixture::Store;
    this->make("list", {});
    const std::string file = "(file=" + this->path("list") + ")";
    const auto refused = [&](const std::function<void(Store&)>& change, const std::string& line) {
        Store store;
        ASSERT_EQ(store.OpenDBToRead(this->path("list").c_str()), 0);
        change(store);
        const LogFile log;
        EXPECT_EQ(store.ReadDBHeader(), -8);
        EXPECT_THAT(log.messages(), ElementsAre(this->error("::ReadDBHeader(): " + line)));
    };
    refused([](Store& store) { store.m_pszDBGuid = "A magic text of thirty-two byteS"; }, "Invalid GUID " + file);
    refused([](Store& store) { store.m_dwDBVersion = 8; }, "Invalid version (version=0x00000007, " + file.substr(1));
}

using EncryptedFrame = RecordFrame<CEncryptedDB>;

TEST_F(EncryptedFrame, ItemsThatDontFitTheirReader) {
    make("list", {"12345", "", "123456"});
    EXPECT_EQ(fs::file_size(at("list")), 80u + 16 + 16) << "an item without bytes isn't written";
    std::string buffer(16, '?');
    LogFile log;
    BareStore<CEncryptedDB> store;
    ASSERT_EQ(store.OpenDBToRead(path("list").c_str()), 0);
    EXPECT_EQ(store.ReadDBHeader(), 0);
    EXPECT_EQ(store.ReadData(buffer.data(), 8), 0);
    EXPECT_EQ(buffer, "12345???????????");
    EXPECT_EQ(store.ReadData(buffer.data(), 5), -1);
    EXPECT_EQ(buffer, "12345???????????");
    EXPECT_EQ(store.ReadData(buffer.data(), 0xFFFFFFFF), -7);
    put("list", std::string(48, 'x'));
    ASSERT_EQ(store.OpenDBToRead(path("list").c_str()), 0);
    EXPECT_EQ(store.ReadDBHeader(), -1);
    const std::string file = ", file=" + path("list") + ")";
    EXPECT_THAT(log.messages(),
                ElementsAre(error("::ReadData(): A decrypted record is too large (size=6" + file),
                            error("::ReadData(): Memory allocation error"),
                            error(": Failed to decrypt a record (err=-7" + file),
                            StartsWith(error("::ReadDBHeader(): ::ReadFile() failed on reading GUID"))));
}

TEST_F(EncryptedFrame, ItemsThatCannotBeWritten) {
    BareStore<CEncryptedDB> store;
    prepare(store);
    ASSERT_EQ(store.OpenTempFileToWrite(), 0);
    const LogFile log;
    EXPECT_EQ(store.WriteData("", 0), 0);
    EXPECT_EQ(store.WriteData("", 0xFFFFFFFF), -7);
    EXPECT_THAT(log.messages(), ElementsAre(trace("::WriteData(): dwSizeToWrite is 0"),
                                            error("::WriteData(): Memory allocation error")));
}

} // namespace

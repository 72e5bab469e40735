// The mail manager's settings and the address cache, through the library: each value absent, damaged and at its limits,
// the cache's file byte by byte, and whatever else may be in its place.
#include "Enciphered.h"
#include "FieldRecords.h"
#include "TestHome.h"
#include "TestObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

const std::string kMailKey = "Scan\\Common\\MailManager\\config";

RecordCase mailConfig() {
#define AT(member) WDLT_FIELD(WdsmMailConfig, member)
    const auto plainNumber = [](const char* value, const char* field, std::size_t offset, std::size_t size) {
        return numberCase(value, offset, size).named(field).neverWritten();
    };
    const auto plainText = [](const char* value, const char* field, std::size_t offset, std::size_t size) {
        return textCase(value, offset, size)
            .with(std::string(value).substr(0, 15), "another")
            .named(field)
            .neverWritten();
    };
    return {
        .name = "Mail",
        .scan = WDLT_SCAN_MAIL_MANAGER,
        .key = kMailKey,
        .size = sizeof(WdsmMailConfig),
        .fields =
            {
                plainNumber("BytesPerEntHdr", "dwBytesPerEntHdr", AT(dwBytesPerEntHdr)),
                plainNumber("ExtlactLvlPerMsg", "dwExtlactLvlPerMsg", AT(dwExtlactLvlPerMsg)),
                plainNumber("EntPerMsg", "dwEntPerMsg", AT(dwEntPerMsg)),
                plainNumber("ParamPerHdrField", "dwParamPerHdrField", AT(dwParamPerHdrField)),
                plainNumber("HdrPerEnt", "dwHdrPerEnt", AT(dwHdrPerEnt)),
                plainNumber("EnableDisclaimer", "dwEnableDisclaimer", AT(dwEnableDisclaimer)),
                plainText("DisclaimerOriginalName", "szDisclaimerOriginalName", AT(szDisclaimerOriginalName)),
                plainText("DisclaimerCharset", "szDisclaimerCharset", AT(szDisclaimerCharset))
                    .with("charset", "another"),
                plainText("DisclaimerSubject", "szDisclaimerSubject", AT(szDisclaimerSubject)),
                plainText("DisclaimerAddress", "szDisclaimerAddress", AT(szDisclaimerAddress)).with("a@b.c", "another"),
                plainText("DisclaimerFile", "szDisclaimerFile", AT(szDisclaimerFile)),
                plainText("WarningFile", "szWarningFilename", AT(szWarningFilename)),
                plainText("SpywareWarning", "szSpywareWarning", AT(szSpywareWarning)),
                plainText("SpywareCharset", "szSpywareCharset", AT(szSpywareCharset))
                    .whenUnreadable(quietlyReadsAs("charset")),
                plainText("SpywareSubject", "szSpywareSubject", AT(szSpywareSubject))
                    .whenUnreadable(quietlyReadsAs("")),
                plainText("SpywareAddress", "szSpywareAddress", AT(szSpywareAddress))
                    .whenUnreadable(quietlyReadsAs("a@b.c")),
                plainText("SpywareExtension", "szSpywareExtension", AT(szSpywareExtension)),
                numberCase("AddressCacheDirection", AT(dwAddressCacheDirection))
                    .named("dwAddressCacheDirection")
                    .whenAbsent(quietlyReadsAs(0u)),
                plainNumber("MaxAddressCacheCount", "dwMaxAddressCacheCount", AT(dwMaxAddressCacheCount))
                    .whenAbsent(quietlyReadsAs(100u)),
            },
        .unreadLine = "[WdltCfg.dll] ReadConfig fails ({status}) : WdsmMailConfig::{field}",
        .unwrittenLine = "[WdltCfg.dll] WriteConfig fails ({status}) : WdsmMailConfig::{field}",
    };
#undef AT
}

constexpr Change kChange{WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER};

class MailManager : public FieldRecord {
  protected:
    MailManager() { tree::setNumber(kMailKey, "AddressCacheDirection", 0); } // creates the key

    std::int32_t read(std::uint64_t type, void* data, std::uint64_t& size) {
        return WDLT_CALL(library, WdltReadConfig)(0, WDLT_SCAN_MAIL_MANAGER, type, data, &size);
    }
    std::int32_t write(std::uint64_t type, void* data, std::uint64_t size) {
        return WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_MAIL_MANAGER, type, data, size);
    }
};

TEST_F(MailManager, TheSettingsValueByValue) {
    FieldRunner(library, mailConfig()).tryAll();
}

// The address cache.

MailAddressRecord addressOf(std::uint32_t tag, const std::string& text) {
    MailAddressRecord record{tag, {}};
    text.copy(record.szAddress, sizeof record.szAddress);
    return record;
}

std::string bytesOf(const void* from, std::size_t size) {
    return {static_cast<const char*>(from), size};
}
std::string bytesOf(std::uint32_t number) {
    return bytesOf(&number, sizeof number);
}

// A record as in the file, enciphered without the library.
std::string sealed(const MailAddressRecord& record, std::size_t plainBytes = 255) {
    return bytesOf(record.dwAddressTag) + enciphered(wdlt::kAddressCacheKey, {record.szAddress, plainBytes});
}
std::string headerOf(std::uint32_t count, std::uint32_t version = 1) {
    return "Wardlet:MailManager:AddressCache" + bytesOf(version) + bytesOf(count);
}

class AddressCache : public MailManager {
  protected:
    AddressCache() {
        FieldRunner(library, mailConfig()).layDown(0);
        for (const char* const folder : {"install", "temp"}) {
            std::filesystem::remove_all(home / folder);
            std::filesystem::create_directories(home / folder);
        }
        tree::setText("", "InstallPath", (home / "install").string() + "/");
        tree::setText("", "TempPath", (home / "temp").string() + "/");
        tree::setText(kMailKey, "AddressCacheFile", "cache.dat");
        setMaximum(100);
    }

    static void setMaximum(std::uint32_t count) { tree::setNumber(kMailKey, "MaxAddressCacheCount", count); }
    void putFile(const std::string& content) const { TestHome::instance().write("install/cache.dat", content); }
    std::string getFile() const { return TestHome::instance().read("install/cache.dat"); }

    static std::string bufferOf(const std::vector<MailAddressRecord>& records) {
        return bytesOf(static_cast<std::uint32_t>(records.size())) +
               bytesOf(records.data(), records.size() * sizeof records[0]);
    }
    std::int32_t writeCache(const std::vector<MailAddressRecord>& records) {
        std::string buffer = bufferOf(records);
        return write(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), buffer.size());
    }
    // Asks for the size, then reads; `bytes` becomes the whole buffer.
    std::int32_t readCache(std::string& bytes) {
        std::uint64_t size = 0;
        std::int32_t status = read(WDLT_CONFIG_MAIL_ADDRESS_CACHE, nullptr, size);
        if (status != WDLT_E_BUFFER_SIZE)
            return status;
        bytes.assign(size, '\xEE');
        status = read(WDLT_CONFIG_MAIL_ADDRESS_CACHE, bytes.data(), size);
        EXPECT_EQ(size, bytes.size());
        return status;
    }
    std::int32_t count(std::int32_t& number) { return WDLT_CALL(library, WdltMahReadRecordList)(nullptr, &number); }

    // One has bytes after its terminator, which belong to the record; another fills its field.
    const std::vector<MailAddressRecord> records{
        addressOf(7, "a@b.c"), addressOf(0xFFFFFFFF, std::string("hidden\0behind", 13)), addressOf(0, ""),
        addressOf(3, std::string(255, 'l')), addressOf(4, "e@f.g")};
    const std::filesystem::path home = TestHome::instance().path();
};

TEST_F(AddressCache, TheFileByTheByte) {
    ChangeListener service;
    std::vector<MailAddressRecord> written = records;
    written[3].szAddress[255] = 'x'; // the last byte is stored as the terminator
    EXPECT_EQ(writeCache(written), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kChange));
    std::string expected = headerOf(5);
    for (const MailAddressRecord& record : records)
        expected += sealed(record);
    EXPECT_EQ(getFile(), expected);
    EXPECT_TRUE(std::filesystem::is_empty(home / "temp"));
    std::string bytes;
    EXPECT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, bufferOf(records));
}

TEST_F(AddressCache, AsManyRecordsAsThereIsRoomFor) {
    const auto readRecords = WDLT_CALL(library, WdltMahReadRecordList);
    std::int32_t number = 0;
    EXPECT_EQ(count(number), WDLT_E_FILE_NOT_FOUND);
    EXPECT_TRUE(library.logged("CFuncMah::RecordListRead(): Failed to read config: -6"));
    ASSERT_EQ(writeCache(records), WDLT_OK);
    for (const std::int32_t room : {2, 6}) {
        std::vector<MailAddressRecord> some(6, addressOf(99, "untouched"));
        number = room;
        EXPECT_EQ(readRecords(some.data(), &number), WDLT_OK);
        EXPECT_EQ(number, std::min(room, 5));
        const auto read = static_cast<std::size_t>(number);
        EXPECT_EQ(std::memcmp(some.data(), records.data(), read * sizeof some[0]), 0);
        EXPECT_STREQ(some[read].szAddress, "untouched");
    }
    tree::deleteValue(kMailKey, "HdrPerEnt"); // the cache can't be read without the settings
    EXPECT_EQ(count(number), WDLT_E_NOT_FOUND);
}

TEST_F(AddressCache, IsReadUpToTheMostThatItMayHold) {
    std::string all = headerOf(150);
    for (std::uint32_t i = 0; i < 150; ++i)
        all += sealed(addressOf(i, "r"));
    putFile(all);
    const struct {
        std::optional<std::uint32_t> maximum;
        std::uint32_t count;
    } cases[] = {{{}, 100}, {149u, 149}, {150u, 150}, {0u, 0}, {0xFFFFFFFFu, 150}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.count);
        if (c.maximum)
            setMaximum(*c.maximum);
        else
            tree::deleteValue(kMailKey, "MaxAddressCacheCount");
        const std::uint64_t needed = 4 + 260 * c.count;
        std::string buffer(needed + 100, '\xEE');
        for (const std::uint64_t given : {std::uint64_t{0}, std::uint64_t{3}, needed - 1, needed + 50}) {
            std::uint64_t size = given;
            EXPECT_EQ(buffer.find_first_not_of('\xEE'), buffer.npos);
            EXPECT_EQ(read(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), size),
                      given < needed ? WDLT_E_BUFFER_SIZE : WDLT_OK);
            EXPECT_EQ(size, std::max(given, needed));
        }
        EXPECT_EQ(buffer.substr(0, 4), bytesOf(c.count));
        EXPECT_EQ(buffer.find_first_not_of('\xEE', needed), buffer.npos);
    }
    EXPECT_TRUE(library.logged("cache.dat, count=150, max=100)"));
}

TEST_F(AddressCache, WhatIsNoWholeListIsNotWritten) {
    const std::string two = bufferOf({records[0], records[1]});
    const struct {
        std::string buffer;
        std::int32_t status;
        std::size_t fileBytes = 40;
    } cases[] = {
        {two.substr(0, 523), WDLT_E_INVALID_ARGUMENT},
        {bytesOf(0xFFFFFFFF) + two, WDLT_E_INVALID_ARGUMENT},
        {bufferOf(std::vector<MailAddressRecord>(101)), WDLT_E_INVALID_ARGUMENT}, // one above the maximum
        {two + "more", WDLT_OK, 560},
        {bufferOf(std::vector<MailAddressRecord>(100)), WDLT_OK, 26040},
    };
    for (auto c : cases) {
        ASSERT_EQ(writeCache({}), WDLT_OK);
        EXPECT_EQ(write(WDLT_CONFIG_MAIL_ADDRESS_CACHE, c.buffer.data(), c.buffer.size()), c.status);
        EXPECT_EQ(getFile().size(), c.fileBytes);
    }
    EXPECT_TRUE(
        library.logged("WriteConfigAddressCache: trying to write more records than max count (count=101, max=100)"));
}

TEST_F(AddressCache, WhereTheFileIs) {
    for (const std::string file : {"sixteen___chars1", "up.dat"}) {
        tree::setText(kMailKey, "AddressCacheFile", file == "up.dat" ? "..\\up.dat" : file); // stays in the folder
        EXPECT_EQ(writeCache({records[0]}), WDLT_OK);
        EXPECT_TRUE(std::filesystem::exists(home / "install" / file)) << file;
    }
    const struct {
        void (*spoil)();
        std::int32_t status;
        const char* line;
    } cases[] = {
        {[] { tree::setText(kMailKey, "AddressCacheFile", "seventeen__chars1"); }, WDLT_E_BUFFER_SIZE,
         "GetAddressCacheFilePath: failed to read registry item \"AddressCacheFile\" (lRet=-2)"},
        {[] { tree::set(kMailKey, "MaxAddressCacheCount", REG_BINARY, "12345678"); }, WDLT_E_BUFFER_SIZE,
         "WriteConfigAddressCache: Failed to read registry item \"MaxAddressCacheCount\" (lRet=-2)"},
        {[] { tree::setText("", "InstallPath", ""); }, WDLT_E_GENERAL,
         "GetAddressCacheFilePath: failed to get install path"},
    };
    for (const auto& c : cases) {
        setMaximum(100);
        tree::setText(kMailKey, "AddressCacheFile", "cache.dat");
        c.spoil();
        const FreshLog fresh;
        std::string bytes;
        EXPECT_EQ(readCache(bytes), c.status); // the store's status, and no size
        EXPECT_EQ(writeCache({}), c.status);
        EXPECT_TRUE(library.logged(c.line)) << c.line;
    }
}

// Whatever the file holds, a read gives only records that are in it.
TEST_F(AddressCache, DamagedFiles) {
    const std::string record = sealed(records[0]);
    const std::string whole = headerOf(2) + record + sealed(records[1]);
    std::string bytes;
    std::string foreign = whole;
    foreign[31] = 'E';
    const struct {
        std::string content;
        std::int32_t status;
        const char* line;
    } cases[] = {
        {whole + "more", WDLT_OK, ""},
        {foreign, WDLT_E_FILE, "ReadAddressCacheDBHeader: invalid guid"},
        {headerOf(1, 2) + record, WDLT_E_FILE, "ReadAddressCacheDBHeader: invalid version (0x00000002)"},
        {headerOf(1).substr(0, 38), WDLT_E_FILE, "ReadAddressCacheDBHeader: failed to read count (err="},
        {headerOf(0xFFFFFFFF) + record, WDLT_E_FILE, "ReadConfigAddressCache: failed to read a record (err="},
        {headerOf(1) + bytesOf(1u) + std::string(256, 'x'), WDLT_E_GENERAL,
         "ReadConfigAddressCache: failed to decrypt data (err=-7)"},
        {headerOf(1) + sealed(records[0], 254), WDLT_E_GENERAL,
         "ReadConfigAddressCache : decrypted data size is invalid (size=254)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        putFile(c.content);
        const FreshLog fresh;
        EXPECT_EQ(readCache(bytes), c.status); // a forged count doesn't ask for a larger buffer
        EXPECT_TRUE(library.logged(c.line));
        EXPECT_TRUE(c.status != WDLT_OK || bytes == bufferOf({records[0], records[1]}));
    }
}

TEST_F(AddressCache, AFileInUseOrNoFileAtAll) {
    std::string bytes;
    ASSERT_EQ(writeCache(records), WDLT_OK);
    {
        const Handle user(CreateFileA((home / "install" / "cache.dat").string().c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                      nullptr));
        EXPECT_EQ(readCache(bytes), WDLT_E_FILE); // the read opens it exclusively
        EXPECT_TRUE(library.logged("ReadConfigAddressCache: ::CreateFile() failed (err=32, file="));
        EXPECT_EQ(writeCache({records[4]}), WDLT_OK); // a write replaces it nevertheless
    }
    EXPECT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, bufferOf({records[4]}));

    std::filesystem::remove(home / "install/cache.dat");
    std::filesystem::create_directory(home / "install/cache.dat");
    EXPECT_EQ(writeCache(records), WDLT_E_TEMP_FILE);
    EXPECT_TRUE(std::filesystem::is_empty(home / "temp"));
    std::filesystem::remove(home / "temp");
    EXPECT_EQ(writeCache(records), WDLT_E_TEMP_FILE);
    for (const char* const line : {"::CopyFile() failed (err=", "::GetTempFileName() failed (err=267)"})
        EXPECT_TRUE(library.logged(std::string("WriteConfigAddressCache: ") + line)) << line;
}

// Reads and writes go on without the mutex.
TEST_F(AddressCache, AMutexThatIsNotToBeHad) {
    const char* const name = "Global\\WardletMailManagerConfigMutex";
    const TimeScale impatient{"0.001"};
    std::string bytes;
    {
        const Handle mutex = makeMutex(name);
        ASSERT_EQ(waitFor(mutex, INFINITE), WAIT_OBJECT_0);
        std::thread([&] {
            EXPECT_EQ(writeCache(records), WDLT_OK);
            EXPECT_EQ(readCache(bytes), WDLT_OK);
        }).join();
        ReleaseMutex(mutex.get());
        EXPECT_TRUE(library.logged("CManagerMailCommon::Lock : WaitForSingleObject() fails (WAIT_TIMEOUT)"));
        ASSERT_EQ(waitElsewhere(mutex, INFINITE), WAIT_OBJECT_0); // abandons it
        EXPECT_EQ(writeCache(records), WDLT_OK);
        EXPECT_TRUE(library.logged("CManagerMailCommon::Lock : WaitForSingleObject() fails (WAIT_ABANDONED)"));
    }
    {
        const Handle event = makeEvent(name, false, false); // an object of another kind with that name
        EXPECT_EQ(readCache(bytes), WDLT_OK);
        EXPECT_EQ(bytes, bufferOf(records));
        EXPECT_TRUE(library.logged("CManagerMailCommon::Lock : CreateMutex() fails (err=6)"));
    }
}

} // namespace

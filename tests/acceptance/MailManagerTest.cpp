// The mail manager's settings and the address cache, as callers of the library have them: each value absent, damaged
// and at its limits, the cache's file by the byte, and whatever may stand in its place.
#include "FieldCases.h"
#include "FreshLog.h"
#include "Rijndael.h"
#include "StoreKeys.h"
#include "TestHome.h"
#include "TestObject.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <platform/testing.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kKey = "Scan\\Common\\MailManager\\config";
constexpr Change kChange{WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER};

#define AT(member) WDLT_FIELD(WdsmMailConfig, member)

RecordCase mailConfig() {
    const Passages anyNumber = {{0u, 0u}, {0xFFFFFFFFu, 0xFFFFFFFFu}};
    const auto plainNumber = [&](const char* value, const char* field, std::size_t offset, std::size_t size) {
        return numberCase(value, offset, size).named(field).reads(anyNumber).neverWritten();
    };
    const auto plainText = [](const char* value, const char* field, std::size_t offset, std::size_t size) {
        const std::string longest(size - 1, 'l');
        return textCase(value, offset, size)
            .with(std::string(value).substr(0, 15), "another")
            .named(field)
            .reads({{"", ""}, {longest, longest}})
            .neverWritten();
    };
    return {
        "mail",
        WDLT_PROTOCOL_COMMON,
        WDLT_SCAN_MAIL_MANAGER,
        WDLT_INPUT_NONE,
        WDLT_CONFIG_DEFAULT,
        kKey,
        sizeof(WdsmMailConfig),
        {
            plainNumber("BytesPerEntHdr", "dwBytesPerEntHdr", AT(dwBytesPerEntHdr)),
            plainNumber("ExtlactLvlPerMsg", "dwExtlactLvlPerMsg", AT(dwExtlactLvlPerMsg)),
            plainNumber("EntPerMsg", "dwEntPerMsg", AT(dwEntPerMsg)),
            plainNumber("ParamPerHdrField", "dwParamPerHdrField", AT(dwParamPerHdrField)),
            plainNumber("HdrPerEnt", "dwHdrPerEnt", AT(dwHdrPerEnt)),
            plainNumber("EnableDisclaimer", "dwEnableDisclaimer", AT(dwEnableDisclaimer)),
            plainText("DisclaimerOriginalName", "szDisclaimerOriginalName", AT(szDisclaimerOriginalName)),
            plainText("DisclaimerCharset", "szDisclaimerCharset", AT(szDisclaimerCharset)).with("charset", "another"),
            plainText("DisclaimerSubject", "szDisclaimerSubject", AT(szDisclaimerSubject)),
            plainText("DisclaimerAddress", "szDisclaimerAddress", AT(szDisclaimerAddress)).with("a@b.c", "another"),
            plainText("DisclaimerFile", "szDisclaimerFile", AT(szDisclaimerFile)),
            plainText("WarningFile", "szWarningFilename", AT(szWarningFilename)),
            plainText("SpywareWarning", "szSpywareWarning", AT(szSpywareWarning)),
            plainText("SpywareCharset", "szSpywareCharset", AT(szSpywareCharset))
                .whenUnreadable(quietlyReadsAs("charset")),
            plainText("SpywareSubject", "szSpywareSubject", AT(szSpywareSubject)).whenUnreadable(quietlyReadsAs("")),
            plainText("SpywareAddress", "szSpywareAddress", AT(szSpywareAddress))
                .whenUnreadable(quietlyReadsAs("a@b.c")),
            plainText("SpywareExtension", "szSpywareExtension", AT(szSpywareExtension)),
            numberCase("AddressCacheDirection", AT(dwAddressCacheDirection))
                .named("dwAddressCacheDirection")
                .whenAbsent(quietlyReadsAs(0u))
                .reads(anyNumber)
                .writes(anyNumber),
            plainNumber("MaxAddressCacheCount", "dwMaxAddressCacheCount", AT(dwMaxAddressCacheCount))
                .whenAbsent(quietlyReadsAs(100u)),
        },
        {},
        [](const std::string& field, std::int32_t status) {
            return "[WdltCfg.dll] ReadConfig fails (" + std::to_string(status) + ") : WdsmMailConfig::" + field;
        },
        [](const std::string& field, std::int32_t status) {
            return "[WdltCfg.dll] WriteConfig fails (" + std::to_string(status) + ") : WdsmMailConfig::" + field;
        },
    };
}

class MailManager : public testing::Test {
  protected:
    MailManager() {
        tree::clear();
        tree::setNumber(kKey, "AddressCacheDirection", 0); // the key is there
    }

    std::int32_t read(std::uint64_t type, void* data, std::uint64_t& size) {
        return WDLT_CALL(library, WdltReadConfig)(0, WDLT_SCAN_MAIL_MANAGER, type, data, &size);
    }
    std::int32_t write(std::uint64_t type, void* data, std::uint64_t size) {
        return WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_MAIL_MANAGER, type, data, size);
    }

    const TimeScale impatient{"0.001"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(MailManager, TheSettingsValueByValue) {
    const FieldRunner runner(library, mailConfig());
    runner.tryEachUnreadValue();
    runner.tryLimitsOnRead();
    runner.tryLimitsOnWrite();
    runner.tryWriting();
    runner.tryFailingWrites();
    runner.tryNotifying();
}

TEST_F(MailManager, ATextThatFillsItsFieldIsTooLong) {
    const RecordCase record = mailConfig();
    const FieldRunner runner(library, record);
    for (const FieldCase& field : record.fields) {
        if (field.shape == FieldShape::Number)
            continue;
        SCOPED_TRACE(field.value);
        runner.layDown(0);
        const std::string text(field.size, 't');
        tree::set(kKey, field.value, REG_SZ, text.data(), static_cast<DWORD>(text.size())); // without a terminator
        FieldRunner::Bytes bytes;
        EXPECT_EQ(runner.read(bytes), field.absent.content ? WDLT_OK : WDLT_E_BUFFER_SIZE);
    }
}

TEST_F(MailManager, TextsThatStandForOthers) {
    struct Case {
        const char* value;
        const char* standIn;
        const char* field;
    };
    for (const Case& c : {Case{"SpywareCharset", "DisclaimerCharset", "szDisclaimerCharset"},
                          {"SpywareAddress", "DisclaimerAddress", "szDisclaimerAddress"}}) {
        SCOPED_TRACE(c.value);
        const FieldRunner runner(library, mailConfig());
        runner.layDown(0);
        tree::deleteValue(kKey, c.value);
        tree::deleteValue(kKey, c.standIn); // it is missed already in its own place
        FieldRunner::Bytes bytes;
        EXPECT_EQ(runner.read(bytes), WDLT_E_NOT_FOUND);
        EXPECT_TRUE(library.logged(std::string("fails (-16) : WdsmMailConfig::") + c.field));
    }
}

TEST_F(MailManager, LinesOfSizesAndConfigTypes) {
    std::vector<char> record(1409);
    std::uint64_t size = record.size();
    EXPECT_EQ(read(0, record.data(), size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(write(0, record.data(), 1409), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(0, nullptr, size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(0, nullptr, 1408), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(2, record.data(), size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(0x123, record.data(), 1408), WDLT_E_INVALID_ARGUMENT);
    for (const char* const line : {"ReadConfig: size error.", "WriteConfig: size error.", "ReadConfig: pData is NULL",
                                   "WriteConfig: pData is NULL", "[WdltCfg.dll] ReadConfig invalid input : pInput=0x2",
                                   "[WdltCfg.dll] WriteConfig invalid input : pInput=0x123"})
        EXPECT_TRUE(library.logged(line)) << line;
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

// As the file has it, made here.
std::string sealed(const MailAddressRecord& record, std::int32_t plainBytes = 255) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, wdlt::kAddressCacheKey.data(), Rijndael::kKey16Bytes);
    std::string text(256 + 16, '\0');
    cipher.PadEncrypt(reinterpret_cast<const std::uint8_t*>(record.szAddress), plainBytes,
                      reinterpret_cast<std::uint8_t*>(text.data()));
    return bytesOf(record.dwAddressTag) + text.substr(0, 256);
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
        tree::setText(kKey, "AddressCacheFile", "cache.dat");
        setMaximum(100);
    }

    static void setMaximum(std::uint32_t count) { tree::setNumber(kKey, "MaxAddressCacheCount", count); }
    void putFile(const std::string& content) const { TestHome::instance().write("install/cache.dat", content); }
    std::string getFile() const { return TestHome::instance().read("install/cache.dat"); }
    bool isThere() const { return std::filesystem::exists(home / "install" / "cache.dat"); }
    std::ptrdiff_t temporaryFiles() const {
        return std::distance(std::filesystem::directory_iterator(home / "temp"), {});
    }

    static std::string bufferOf(const std::vector<MailAddressRecord>& records) {
        return bytesOf(static_cast<std::uint32_t>(records.size())) +
               bytesOf(records.data(), records.size() * sizeof records[0]);
    }
    std::int32_t writeCache(const std::vector<MailAddressRecord>& records) {
        std::string buffer = bufferOf(records);
        return write(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), buffer.size());
    }
    // Asks for the size, then reads; `bytes` is the whole buffer.
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

    // With bytes behind a terminator, which belong to the record, and a text that fills its field.
    const std::vector<MailAddressRecord> records{
        addressOf(7, "a@b.c"), addressOf(0xFFFFFFFF, std::string("hidden\0behind", 13)), addressOf(0, ""),
        addressOf(3, std::string(255, 'l')), addressOf(4, "e@f.g")};
    const std::filesystem::path home = TestHome::instance().path();
};

TEST_F(AddressCache, TheFileByTheByte) {
    ChangeListener service;
    ASSERT_EQ(writeCache({records[0], records[1]}), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(kChange));
    EXPECT_EQ(getFile(), headerOf(2) + sealed(records[0]) + sealed(records[1]));
    EXPECT_EQ(getFile().size(), 560u);
    EXPECT_EQ(temporaryFiles(), 0);
    std::string bytes;
    ASSERT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, bufferOf({records[0], records[1]}));

    ASSERT_EQ(writeCache(records), WDLT_OK);
    ASSERT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, bufferOf(records));
    ASSERT_EQ(writeCache({addressOf(1, std::string(256, 'x'))}), WDLT_OK); // its last byte is the terminator's
    ASSERT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, bufferOf({addressOf(1, std::string(255, 'x'))}));
    ASSERT_EQ(writeCache({}), WDLT_OK);
    EXPECT_EQ(getFile(), headerOf(0));
    ASSERT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, bytesOf(0u));
}

TEST_F(AddressCache, AsManyRecordsAsThereIsRoomFor) {
    const auto readRecords = WDLT_CALL(library, WdltMahReadRecordList);
    std::int32_t number = 77;
    EXPECT_EQ(count(number), WDLT_E_FILE_NOT_FOUND);
    EXPECT_EQ(number, 77);
    EXPECT_TRUE(library.logged("ReadConfigAddressCache: File not found (file="));
    EXPECT_TRUE(library.logged("CFuncMah::RecordListRead(): Failed to read config: -6"));
    ASSERT_EQ(writeCache(records), WDLT_OK);
    EXPECT_EQ(count(number), WDLT_OK);
    EXPECT_EQ(number, 5);
    EXPECT_TRUE(library.logged("CFuncMah::RecordListRead(): OUT: count=5"));
    std::vector<MailAddressRecord> some(6, addressOf(99, "untouched"));
    number = 2;
    EXPECT_EQ(readRecords(some.data(), &number), WDLT_OK);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(std::memcmp(some.data(), records.data(), 2 * sizeof some[0]), 0);
    EXPECT_STREQ(some[2].szAddress, "untouched");
    number = 6;
    EXPECT_EQ(readRecords(some.data(), &number), WDLT_OK);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(std::memcmp(some.data(), records.data(), 5 * sizeof some[0]), 0);
    EXPECT_STREQ(some[5].szAddress, "untouched");
    EXPECT_EQ(readRecords(some.data(), nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("CFuncMah::RecordListRead(): IN"));

    tree::deleteValue(kKey, "HdrPerEnt"); // settings that can't be read give no cache either
    EXPECT_EQ(count(number), WDLT_E_NOT_FOUND);
}

TEST_F(AddressCache, SizesAndTheLimit) {
    putFile(headerOf(150) + [&] {
        std::string all;
        for (std::uint32_t i = 0; i < 150; ++i)
            all += sealed(addressOf(i, "r"));
        return all;
    }());
    struct Case {
        std::optional<std::uint32_t> maximum;
        std::uint64_t size;
    };
    for (const Case& c :
         {Case{100u, 26004}, {{}, 26004}, {149u, 38744}, {150u, 39004}, {0u, 4}, {0xFFFFFFFFu, 39004}}) {
        SCOPED_TRACE(c.size);
        if (c.maximum)
            setMaximum(*c.maximum);
        else
            tree::deleteValue(kKey, "MaxAddressCacheCount");
        std::vector<char> buffer(c.size + 100, '\xEE');
        for (const std::uint64_t tooSmall : {std::uint64_t{0}, std::uint64_t{3}, c.size - 1}) {
            std::uint64_t size = tooSmall;
            EXPECT_EQ(read(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), size), WDLT_E_BUFFER_SIZE);
            EXPECT_EQ(size, c.size);
        }
        EXPECT_EQ(buffer[0], '\xEE');
        std::uint64_t size = c.size;
        EXPECT_EQ(read(WDLT_CONFIG_MAIL_ADDRESS_CACHE, nullptr, size), WDLT_E_INVALID_ARGUMENT);
        size = c.size + 50;
        EXPECT_EQ(read(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), size), WDLT_OK);
        EXPECT_EQ(size, c.size + 50);
        EXPECT_EQ(buffer[c.size], '\xEE');
        EXPECT_EQ(bytesOf(buffer.data(), 4), bytesOf(static_cast<std::uint32_t>((c.size - 4) / 260)));
    }
    EXPECT_TRUE(library.logged("cache.dat, count=150, max=100)"));
    EXPECT_TRUE(library.logged("ReadConfigAddressCache: insufficient buffer (size=3, required=26004)"));

    setMaximum(100);
    const std::string before = getFile();
    EXPECT_EQ(writeCache(std::vector<MailAddressRecord>(101)), WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(
        library.logged("WriteConfigAddressCache: trying to write more records than max count (count=101, max=100)"));
    std::string buffer = bufferOf({records[0], records[1]});
    for (const std::uint64_t size : {0u, 3u, 523u})
        EXPECT_EQ(write(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), size), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_CONFIG_MAIL_ADDRESS_CACHE, nullptr, 524), WDLT_E_INVALID_ARGUMENT);
    std::string forged = bytesOf(0xFFFFFFFF) + buffer;
    EXPECT_EQ(write(WDLT_CONFIG_MAIL_ADDRESS_CACHE, forged.data(), forged.size()), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(getFile(), before);
    buffer += "more";
    EXPECT_EQ(write(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), buffer.size()), WDLT_OK);
    EXPECT_EQ(getFile().size(), 560u);
    EXPECT_EQ(writeCache(std::vector<MailAddressRecord>(100)), WDLT_OK);
}

TEST_F(AddressCache, WhereTheFileIs) {
    struct Case {
        const char* name;
        const char* file; // null: the code
        std::int32_t status = WDLT_OK;
    };
    const Case cases[] = {
        {"fifteen__chars1", "fifteen__chars1"},
        {"sixteen___chars1", "sixteen___chars1"},
        {"seventeen__chars1", nullptr, WDLT_E_BUFFER_SIZE},
        {"..\\up.dat", "up.dat"}, // not out of the install directory
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        tree::setText(kKey, "AddressCacheFile", c.name);
        EXPECT_EQ(writeCache({records[0]}), c.status);
        if (c.file != nullptr) {
            EXPECT_TRUE(std::filesystem::exists(home / "install" / c.file));
        }
        std::int32_t number = 0;
        EXPECT_EQ(count(number), c.status);
    }
    tree::deleteValue(kKey, "AddressCacheFile");
    std::string bytes;
    EXPECT_EQ(readCache(bytes), WDLT_E_NOT_FOUND);
    EXPECT_EQ(writeCache({}), WDLT_E_NOT_FOUND);
    EXPECT_TRUE(
        library.logged("GetAddressCacheFilePath: failed to read registry item \"AddressCacheFile\" (lRet=-16)"));
    EXPECT_TRUE(library.logged("ReadConfigAddressCache: failed (lRet=-16)"));
    EXPECT_TRUE(library.logged("WriteConfigAddressCache: failed (lRet=-16)"));
    tree::setText(kKey, "AddressCacheFile", "cache.dat");
    tree::set(kKey, "MaxAddressCacheCount", REG_BINARY, "12345678", 8);
    EXPECT_EQ(readCache(bytes), WDLT_E_BUFFER_SIZE); // the store's code, and no size with it
    EXPECT_EQ(writeCache({}), WDLT_E_BUFFER_SIZE);
    EXPECT_TRUE(
        library.logged("ReadConfigAddressCache: Failed to read registry item \"MaxAddressCacheCount\" (lRet=-2)"));
    EXPECT_TRUE(
        library.logged("WriteConfigAddressCache: Failed to read registry item \"MaxAddressCacheCount\" (lRet=-2)"));
    setMaximum(100);
    tree::setText("", "InstallPath", "");
    EXPECT_EQ(readCache(bytes), WDLT_E_GENERAL);
    EXPECT_EQ(writeCache({}), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("GetAddressCacheFilePath: failed to get install path"));
}

// Whatever stands in the file, no record comes out of it that isn't in it.
TEST_F(AddressCache, DamagedAtEveryByte) {
    const std::string whole = headerOf(2) + sealed(records[0]) + sealed(records[1]);
    const std::string wholeBuffer = bufferOf({records[0], records[1]});
    std::string bytes;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        putFile(whole.substr(0, length));
        ASSERT_EQ(readCache(bytes), WDLT_E_FILE);
    }
    putFile(whole + "more");
    EXPECT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, wholeBuffer);
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (const int bit : {0, 7}) {
            SCOPED_TRACE(at);
            std::string forged = whole;
            forged[at] = static_cast<char>(forged[at] ^ 1 << bit);
            putFile(forged);
            const std::int32_t status = readCache(bytes);
            if (at < 40) {
                // Fewer records than there are can't be told from a shorter list.
                ASSERT_EQ(status, WDLT_E_FILE);
                continue;
            }
            const std::size_t inRecord = (at - 40) % 260;
            if (inRecord < 4) {
                ASSERT_EQ(status, WDLT_OK); // a tag is anything
                continue;
            }
            ASSERT_TRUE(status == WDLT_OK || status == WDLT_E_GENERAL) << status;
            if (status == WDLT_OK) {
                ASSERT_EQ(bytes.size(), wholeBuffer.size());
                ASSERT_EQ(bytes[4 + 259], '\0');
                ASSERT_EQ(bytes[4 + 519], '\0');
            }
        }
    putFile(headerOf(1) + sealed(records[0], 254));
    EXPECT_EQ(readCache(bytes), WDLT_E_GENERAL);
    putFile(headerOf(1) + bytesOf(1u) + std::string(256, 'x'));
    EXPECT_EQ(readCache(bytes), WDLT_E_GENERAL);
    putFile(headerOf(1, 2) + sealed(records[0]));
    EXPECT_EQ(readCache(bytes), WDLT_E_FILE);
    putFile(headerOf(0xFFFFFFFF) + sealed(records[0]));
    EXPECT_EQ(readCache(bytes), WDLT_E_FILE);
    std::uint64_t size = 0; // nobody is asked to make room for what isn't there
    EXPECT_EQ(
        WDLT_CALL(library, WdltReadConfig)(0, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_MAIL_ADDRESS_CACHE, nullptr, &size),
        WDLT_E_FILE);
    for (const char* const line :
         {"ReadAddressCacheDBHeader: invalid guid", "ReadAddressCacheDBHeader: invalid version (0x00000002)",
          "ReadAddressCacheDBHeader: failed to read count (err=",
          "ReadConfigAddressCache: failed to read DB header (lRet=-8, file=",
          "ReadConfigAddressCache: failed to read a record (err=",
          "ReadConfigAddressCache: failed to decrypt data (err=-7)",
          "ReadConfigAddressCache : decrypted data size is invalid (size=254)"})
        EXPECT_TRUE(library.logged(line)) << line;
}

TEST_F(AddressCache, AFileInUseOrNoFileAtAll) {
    std::string bytes;
    ASSERT_EQ(writeCache(records), WDLT_OK);
    {
        const Handle user(CreateFileA((home / "install" / "cache.dat").c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                      nullptr));
        EXPECT_EQ(readCache(bytes), WDLT_E_FILE); // it shares with nobody
        EXPECT_TRUE(library.logged("ReadConfigAddressCache: ::CreateFile() failed (err=32, file="));
        EXPECT_EQ(writeCache({records[4]}), WDLT_OK); // and is replaced nevertheless
    }
    EXPECT_EQ(readCache(bytes), WDLT_OK);
    EXPECT_EQ(bytes, bufferOf({records[4]}));

    std::filesystem::remove(home / "install" / "cache.dat");
    std::filesystem::create_directory(home / "install" / "cache.dat");
    EXPECT_EQ(readCache(bytes), WDLT_E_FILE);
    EXPECT_EQ(writeCache(records), WDLT_E_TEMP_FILE);
    EXPECT_TRUE(library.logged("WriteConfigAddressCache: ::CopyFile() failed (err="));
    EXPECT_EQ(temporaryFiles(), 0);
    std::filesystem::remove_all(home / "temp");
    EXPECT_EQ(writeCache(records), WDLT_E_TEMP_FILE);
    EXPECT_TRUE(library.logged("WriteConfigAddressCache: ::GetTempFileName() failed (err=3)"));
    std::filesystem::remove_all(home / "install");
    EXPECT_EQ(readCache(bytes), WDLT_E_FILE); // its folder, not the file, is missing
}

// Both passes go on without the mutex.
TEST_F(AddressCache, AMutexThatIsNotToBeHad) {
    const char* const name = "Global\\WardletMailManagerConfigMutex";
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
        ASSERT_EQ(waitElsewhere(mutex, INFINITE), WAIT_OBJECT_0); // its holder dies with it
        EXPECT_EQ(writeCache(records), WDLT_OK);
        EXPECT_TRUE(library.logged("CManagerMailCommon::Lock : WaitForSingleObject() fails (WAIT_ABANDONED)"));
    }
    {
        const Handle event = makeEvent(name, false, false); // an object of another kind under the name
        EXPECT_EQ(readCache(bytes), WDLT_OK);
        EXPECT_EQ(bytes, bufferOf(records));
        EXPECT_TRUE(library.logged("CManagerMailCommon::Lock : CreateMutex() fails (err=6)"));
    }
}

// Each write of the temporary file in turn: three for the header, one for the records.
TEST_F(AddressCache, AFailingWriteLeavesTheOldFile) {
    ASSERT_EQ(writeCache({records[0]}), WDLT_OK);
    const std::string before = getFile();
    struct Case {
        const char* call;
        int nth;
        std::int32_t status;
        const char* line;
    };
    const Case cases[] = {
        {"write", 1, WDLT_E_FILE, "WriteAddressCacheDBHeader: failed to write guid (err=112)"},
        {"write", 2, WDLT_E_FILE, "WriteAddressCacheDBHeader: failed to write version guid (err=112)"},
        {"write", 3, WDLT_E_FILE, "WriteAddressCacheDBHeader: failed to write count (err=112)"},
        {"write", 4, WDLT_E_FILE, "WriteConfigAddressCache: failed to write a record (err=112, file="},
        {"write", 5, WDLT_E_TEMP_FILE, "WriteConfigAddressCache: ::CopyFile() failed (err=112, from="},
        {"lseek", 1, WDLT_E_FILE, "WriteConfigAddressCache: ::SetFilePointer() failed (err=112, file="},
        {"rename", 1, WDLT_E_TEMP_FILE, "WriteConfigAddressCache: ::CopyFile() failed (err=112, from="},
    };
    ChangeListener service;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        WdTestFailCall(c.call, c.nth, ENOSPC);
        EXPECT_EQ(writeCache(records), c.status);
        WdTestFailCall(c.call, 0, 0);
        EXPECT_TRUE(library.logged(c.line));
        EXPECT_EQ(getFile(), before);
        EXPECT_EQ(temporaryFiles(), 0);
    }
    EXPECT_THAT(service.heard(), IsEmpty());
}

} // namespace

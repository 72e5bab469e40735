// The records of the URL filter, the host filter and the settings common to all virus scans, at their addresses; and
// the special cases of the rating server, the extra header and enciphered values.
#include "FieldRecords.h"
#include "UrlFilterTree.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

RecordCase filterRecord(const std::string& helper, RecordCase record) {
    record.unreadLine = helper + ": Failed to read registry (item={field}, ret={status})";
    record.unwrittenLine = helper + ": Failed to write registry (item={field}, ret={status})";
    return record;
}

FieldCase enciphered(const char* value, std::size_t offset, std::size_t size) {
    return textCase(value, offset, size, FieldShape::Enciphered).with("", "");
}

RecordCase urlFilter() {
#define URL(member) WDLT_FIELD(WdpeUrlfData, member)
    const std::string longest(766, 'g');
    return filterRecord(
        "CEngineUrlFCommon",
        {.name = "UrlFilter",
         .scan = WDLT_SCAN_URL_FILTER,
         .key = kUrlKey,
         .size = sizeof(WdpeUrlfData),
         .fields = {
             numberCase("Mode", URL(dwMode)),
             numberCase("EnableServerLookup", URL(dwEnableServerLookup)),
             textCase("BlockCategoryGroups", URL(szBlockCategoryGroups)).reads({{longest, longest}}),
             numberCase("EnableProxy", URL(dwEnableProxy)),
             textCase("ProxyServer", URL(szProxyServer)).whenAbsent(quietlyReadsAs("")),
             numberCase("ProxyPort", URL(dwProxyPort)).whenAbsent(quietlyReadsAs(80u)),
             enciphered("ProxyUser", URL(szProxyUser)).whenAbsent(quietlyReadsAs("")),
             enciphered("ProxyPassword", URL(szProxyPassword)).whenAbsent(quietlyReadsAs("")),
             numberCase("EnableCategoryChk", URL(dwEnableCategoryChk)),
             numberCase("EnablePharm", URL(dwEnablePharm)),
             numberCase("CategoryNonBlock", URL(dwCategoryNonBlock)),
             numberCase("PharmingNonBlock", URL(dwPharmingNonBlock)),
             numberCase("NotifyAll", URL(dwNotifyAll)),
             numberCase("EnableCredibilityChk", URL(dwEnableCredibilityChk)),
             numberCase("CredibilityNonBlock", URL(dwCredibilityNonBlock)),
             numberCase("UserDefinedCredLevel", URL(dwUserDefinedCredLevel)).whenUnreadable(readsAs(0xFFFFFFFFu)),
             numberCase("UseCredibilityScore", URL(dwUseCredibilityScore)).whenUnreadable(readsAs(0u)),
             numberCase("CredScoreThresHold", URL(dwCredScoreThresHold)).whenUnreadable(readsAs(0xFFFFFFFFu)),
             numberCase("EnablePhishChk", URL(dwEnablePhishChk)),
             numberCase("PhishNonBlock", URL(dwPhishNonBlock)),
             textCase("BlockPhishCategoryGrps", URL(szBlockPhishCategoryGrps)).reads({{longest, longest}}),
             numberCase("EnableWdlDns", URL(dwEnableWdlDns)).whenUnreadable(readsAs(1u)),
             numberCase("EnableWdufeDns", URL(dwEnableWdufeDns)).whenUnreadable(readsAs(1u)),
         }});
#undef URL
}

// The same settings and more, in a record that can only be read.
RecordCase allSettings() {
#define FULL(member) offsetof(WdpeUrlfDrsData, full.member), sizeof(WdpeUrlfFullData::member)
    RecordCase record = urlFilter();
    record.name = "AllSettings";
    record.configType = WDLT_CONFIG_URLF_DRS;
    record.size = sizeof(WdpeUrlfDrsData);
    record.rest = [](BYTE* bytes) {
        const std::uint32_t size = sizeof(WdpeUrlfDrsData);
        std::memcpy(bytes + offsetof(WdpeUrlfDrsData, dwSize), &size, sizeof size);
    };
    for (const FieldCase& field : {
             numberCase("CacheSize", FULL(dwCacheSize)),
             numberCase("CacheLifetime", FULL(dwCacheLifetime)),
             enciphered("LookupServer", FULL(szLookupServer)),
             numberCase("LookupPort", FULL(dwLookupPort)).whenAbsent(quietlyReadsAs(80u)),
             enciphered("LookupVID", FULL(szLookupVID)),
             numberCase("LookupTimeout", FULL(dwLookupTimeout)),
             textCase("ExclusionExtensions", FULL(szExclusionExtensions)),
             numberCase("ErrMode", FULL(dwErrMode)),
             numberCase("RatingType", FULL(dwRatingType)),
             numberCase("EnableWDUFELog", FULL(dwEnableWDUFELog)),
             numberCase("WDUFELogLevel", FULL(dwWDUFELogLevel)),
             numberCase("DRSScoreThresHold", WDLT_FIELD(WdpeUrlfDrsData, dwDRSScoreThresHold))
                 .whenUnreadable(readsAs(0u)),
             numberCase("DRSCredBlock", WDLT_FIELD(WdpeUrlfDrsData, dwDRSCredBlock)).whenUnreadable(readsAs(1u)),
         })
        record.fields.push_back(field);
    return record;
#undef FULL
}

RecordCase numbersOf(const char* name, std::uint64_t configType, std::vector<FieldCase> fields) {
    return filterRecord("CEngineUrlFCommon", {.name = name,
                                              .scan = WDLT_SCAN_URL_FILTER,
                                              .configType = configType,
                                              .key = kUrlKey,
                                              .size = fields.size() * sizeof(std::uint32_t),
                                              .fields = std::move(fields)});
}
FieldCase flagCase(const char* value, std::size_t offset, std::size_t size, std::uint32_t standard = 0) {
    const Passages flags{{0u, 0u}, {1u, 1u}, {2u, 1u}, {0xFFFFFFFFu, 1u}};
    return numberCase(value, offset, size).with(0u, 1u).whenAbsent(quietlyReadsAs(standard)).reads(flags).writes(flags);
}
RecordCase untestedUrls() {
    return numbersOf("UntestedUrls", WDLT_CONFIG_URLF_UUC,
                     {flagCase("EnableUntestedURLChk", WDLT_FIELD(WdpeUrlfUUC, dwEnableUntestedURLChk)),
                      flagCase("BlockUntestedURL", WDLT_FIELD(WdpeUrlfUUC, dwBlockUntestedURL)),
                      flagCase("UntestedURLNonBlock", WDLT_FIELD(WdpeUrlfUUC, dwUntestedURLNonBlock))});
}
RecordCase backupRetry() {
    return numbersOf("BackupRetry", WDLT_CONFIG_URLF_BACKUP_RETRY, {flagCase("EnableBackupLKQRetry", 0, 4, 1)});
}
RecordCase socketFamily() {
    const Passages families{{0u, 0u}, {1u, 1u}, {2u, 2u}, {3u, 0u}};
    return numbersOf("SocketFamily", WDLT_CONFIG_URLF_SOCKET_FAMILY,
                     {flagCase("ResolveSocketFamily", 0, 4).reads(families).writes(families)});
}
RecordCase cacheFile() {
    return numbersOf("CacheFile", WDLT_CONFIG_URLF_CACHE_FILE, {flagCase("UseCacheFile", 0, 4)});
}

RecordCase hostFilter() {
    return filterRecord("CEngineHosFCommon",
                        {.name = "HostFilter",
                         .scan = WDLT_SCAN_HOST_FILTER,
                         .key = "Scan\\Common\\HostFilter\\config",
                         .size = sizeof(WdpeHosfData),
                         .fields = {
                             numberCase("EnablePrivateIPCheck", WDLT_FIELD(WdpeHosfData, dwEnablePrivateIPCheck)),
                             numberCase("NonBlock", WDLT_FIELD(WdpeHosfData, dwNonBlock)),
                             textCase("ExclusionExtensions", WDLT_FIELD(WdpeHosfData, szExclusionExtensions)),
                         }});
}

RecordCase virusCommon() {
#define COMMON(member) WDLT_FIELD(WdpeVsCommon, member)
    const std::string last(258, 'p');
    return {
        .name = "VirusCommon",
        .scan = WDLT_SCAN_VIRUS,
        .key = "Scan\\Common\\Virus\\config",
        .size = sizeof(WdpeVsCommon),
        .fields =
            {
                numberCase("Language", COMMON(dwLanguage)).named("dwLanguage"),
                textCase("PatternPath", COMMON(szPatternPath))
                    .with("C:\\P\\", "D:\\Q\\")
                    .named("szPatternPath")
                    .reads({{"C:\\P", "C:\\P\\"}, {last, last + '\\'}, {"\\", "\\"}})
                    .writes({{"C:\\P", "C:\\P"}, {"", ""}}),
                numberCase("KeepNumber", COMMON(dwKeepNumber))
                    .named("dwKeepNumber")
                    .reads({{0x7FFFFFFFu, 0x7FFFFFFFu}, {0x80000000u, 0x7FFFFFFFu}, {0xFFFFFFFFu, 0x7FFFFFFFu}}),
                numberCase("PurgeBadPattern", COMMON(dwPurgeBadPattern))
                    .named("dwPurgeBadPattern")
                    .whenUnreadable(quietlyReadsAs(0u)),
                numberCase("EngineType", COMMON(dwEngineType)).whenUnreadable(quietlyReadsAs(0u)).neverWritten(),
            },
        .unreadLine = "ReadConfig fails ({status}) : WdpeVsCommon::{field}",
        .unwrittenLine = "WriteConfig fails ({status}) : WdpeVsCommon::{field}",
    };
#undef COMMON
}

class FilterRecords : public FieldRecords {};

TEST_P(FilterRecords, EachFieldOnItsWay) {
    FieldRunner(library, GetParam()).tryAll();
}
INSTANTIATE_TEST_SUITE_P(All, FilterRecords,
                         testing::Values(urlFilter(), untestedUrls(), backupRetry(), socketFamily(), hostFilter(),
                                         virusCommon()),
                         nameOf);

class FilterRecord : public FieldRecord {
  protected:
    template <class Record>
    std::int32_t read(std::uint64_t configType, Record& record) const {
        return FieldRecord::read(0, WDLT_SCAN_URL_FILTER, record, configType);
    }
    template <class Record>
    std::int32_t write(std::uint64_t configType, Record& record) const {
        return FieldRecord::write(0, WDLT_SCAN_URL_FILTER, record, configType);
    }
    // For records whose size differs from that of their type.
    std::int32_t readBytes(std::uint64_t configType, std::string& bytes, std::uint64_t& size) const {
        return WDLT_CALL(library, WdltReadConfig)(0, WDLT_SCAN_URL_FILTER, configType, bytes.data(), &size);
    }
    std::int32_t writeBytes(std::uint64_t configType, std::string bytes) const {
        return WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_URL_FILTER, configType, bytes.data(), bytes.size());
    }
};

TEST_F(FilterRecord, WhatCanOnlyBeRead) {
    for (const RecordCase& record : {allSettings(), cacheFile()}) {
        SCOPED_TRACE(record.name);
        const FieldRunner runner(library, record);
        runner.tryEachUnreadValue();
        runner.tryLimitsOnRead();
    }
    tree::deleteValue(kUrlKey, "Mode");
    WdpeUrlfDrsData record;
    EXPECT_EQ(read(WDLT_CONFIG_URLF_DRS, record), WDLT_E_NOT_FOUND);
    EXPECT_TRUE(library.logged("Read All Registry failed.(-16)"));
}

TEST_F(FilterRecord, EncipheredValues) {
    FieldRunner(library, urlFilter()).layDown(0);
    const auto ciphered = [&](std::size_t plainBytes) { // let the library encipher a text of that size
        EXPECT_EQ(writeBytes(WDLT_CONFIG_URLF_QXN_GUID, std::string(plainBytes, 'g')), WDLT_OK);
        return tree::get(kUrlKey, "QXNGuid")->data;
    };
    const struct {
        std::string stored;
        std::int32_t status;
        std::size_t length = 0;
        const char* line = nullptr;
    } cases[] = {
        {"", WDLT_OK},
        {ciphered(127), WDLT_OK, 127},
        {ciphered(128), WDLT_E_BUFFER_SIZE, 0, "item=ProxyUser, ret=-2)"}, // leaves no room for a terminator
        {std::string(15, 'x'), WDLT_E_GENERAL, 0, "Failed to decrypt registry data (item=ProxyUser, err="},
        {std::string(16, 'x'), WDLT_E_GENERAL, 0, "Failed to decrypt registry data (item=ProxyUser, err=-7)"},
        {std::string(128, 'x'), WDLT_E_GENERAL, 0, "item=ProxyUser, ret=-1)"},
        {std::string(144, 'x'), WDLT_E_BUFFER_SIZE, 0, "item=ProxyUser, ret=-2)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored.size());
        tree::set(kUrlKey, "ProxyUser", REG_BINARY, c.stored);
        const FreshLog fresh;
        WdpeUrlfData record{};
        EXPECT_EQ(read(WDLT_CONFIG_URLF_SETTINGS, record), c.status);
        EXPECT_EQ(std::string(record.szProxyUser), std::string(c.length, 'g'));
        EXPECT_EQ(library.logged("ProxyUser"), c.line != nullptr);
        EXPECT_TRUE(c.line == nullptr || library.logged(c.line));
    }
    WdpeUrlfData record{};
    std::strcpy(record.szProxyPassword, "p*ss w\xF6rd");
    EXPECT_EQ(write(WDLT_CONFIG_URLF_SETTINGS, record), WDLT_OK);
    EXPECT_EQ(tree::get(kUrlKey, "ProxyPassword")->data.find("p*ss"), std::string::npos);
    WdpeUrlfData again{};
    EXPECT_EQ(read(WDLT_CONFIG_URLF_SETTINGS, again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &record, sizeof again), 0);
}

TEST_F(FilterRecord, TheRatingServerMustExistToBeChanged) {
    tree::setNumber(kUrlKey, "Mode", 0);
    WdpeUrlfRSInfo server{"rating.example", 80};
    EXPECT_EQ(write(WDLT_CONFIG_URLF_RS_INFO, server), WDLT_E_NOT_FOUND);
    EXPECT_TRUE(library.logged("CEngineUrlFCommon: Failed to ReadRSInfo in WriteRSInfo (ret=-16)"));
    tree::set(kUrlKey, "LookupServer", REG_BINARY, "");
    EXPECT_EQ(write(WDLT_CONFIG_URLF_FULL, server), WDLT_OK);     // works with each of its config types
    EXPECT_EQ(tree::number(kUrlKey, "LookupPort"), std::nullopt); // unchanged: an absent one reads as 80
}

TEST_F(FilterRecord, ExtraHeader) {
    constexpr std::uint64_t kType = WDLT_CONFIG_URLF_EXTRA_HEADER;
    const auto header = [](std::uint32_t version, std::uint32_t dataBytes, const std::string& data) {
        const std::uint32_t head[] = {version, dataBytes};
        return std::string(reinterpret_cast<const char*>(head), sizeof head) + data + std::string(4, '\0');
    };
    const std::string data = "X-Header: of 20 byte";
    const auto expectRead = [&](std::uint32_t version, std::uint32_t room, std::uint64_t size, std::int32_t status,
                                std::uint64_t needed) {
        std::string bytes = header(version, room, std::string(20, '\0'));
        EXPECT_EQ(readBytes(kType, bytes, size), status) << room << ' ' << size;
        EXPECT_EQ(size, needed);
        EXPECT_EQ(bytes.substr(8, 20) == data, status == WDLT_OK);
    };
    tree::setNumber(kUrlKey, "Mode", 0);
    EXPECT_EQ(writeBytes(kType, header(0, 20, data)), WDLT_EXTRA_HEADER_VERSION);
    EXPECT_EQ(writeBytes(kType, header(2, 20, data)), WDLT_E_VERSION);
    EXPECT_EQ(writeBytes(kType, header(1, 21, data)), WDLT_E_INVALID_ARGUMENT); // more than the record holds
    expectRead(0, 20, 32, WDLT_EXTRA_HEADER_VERSION, 32);
    expectRead(1, 20, 32, WDLT_E_NOT_FOUND, 32);
    EXPECT_EQ(writeBytes(kType, header(1, 20, data)), WDLT_OK);
    expectRead(1, 20, 32, WDLT_OK, 32);
    expectRead(1, 19, 32, WDLT_E_BUFFER_SIZE, 32);
    expectRead(1, 20, 31, WDLT_E_BUFFER_SIZE, 32);
    expectRead(1, 20, 11, WDLT_E_BUFFER_SIZE, 12);
}

} // namespace

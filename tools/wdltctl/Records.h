/* The records that get and set know. A new one is a file with its table and one row in Records.cpp. */
#pragma once

#include "RecordFields.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {

struct Record {
    std::string_view name;
    const char* help;
    std::size_t size;
    std::span<const Field> fields;
    /* Status of the library. The write may change the bytes that it is given. */
    std::int32_t (*read)(const std::string& which, std::span<BYTE> record);
    std::int32_t (*write)(const std::string& which, std::span<BYTE> record);
    /* A record of several: what tells them apart stands behind the record's name, and comes to `which`. */
    const char* whichName = nullptr;
    const char* whichHelp = "";
};

/* A record of type T that one export reads and another writes. */
template <class T, auto ReadExport, auto WriteExport>
constexpr Record exportedRecord(std::string_view name, const char* help, std::span<const Field> fields) {
    const auto read = [](const std::string&, std::span<BYTE> bytes) {
        T record{};
        const std::int32_t status = ReadExport(&record);
        std::memcpy(bytes.data(), &record, sizeof record);
        return status;
    };
    const auto write = [](const std::string&, std::span<BYTE> bytes) {
        T record;
        std::memcpy(&record, bytes.data(), sizeof record);
        return WriteExport(&record);
    };
    return {name, help, sizeof(T), fields, read, write};
}

/* A record of type T at its address. */
template <class T, std::uint32_t Protocol, std::uint32_t Scan, std::uint32_t Input = 0, std::uint64_t ConfigType = 0>
constexpr Record addressedRecord(std::string_view name, const char* help, std::span<const Field> fields) {
    const auto read = [](const std::string&, std::span<BYTE> bytes) {
        std::uint64_t size = bytes.size();
        return WdltReadConfigEx(Protocol, Scan, Input, ConfigType, bytes.data(), &size);
    };
    const auto write = [](const std::string&, std::span<BYTE> bytes) {
        return WdltWriteConfigEx(Protocol, Scan, Input, ConfigType, bytes.data(), bytes.size());
    };
    return {name, help, sizeof(T), fields, read, write};
}

extern const Record kSystemRecord;
extern const Record kHandlerRecord;
extern const Record kUrlFilterRecord;
extern const Record kUrlFilterProxyRecord;
extern const Record kRatingServerRecord;
extern const Record kUntestedUrlsRecord;
extern const Record kHostFilterRecord;
extern const Record kHttpsRecord;
extern const Record kHttpsFlagsRecord;
extern const Record kPluginManagerRecord;
extern const Record kDrsRecord;
extern const Record kSalRecord;
extern const Record kPop3ScanRecord;
extern const Record kSmtpScanRecord;
extern const Record kWebMailScanRecord;
extern const Record kFileVirusScanRecord;
extern const Record kFileScanRecord;
extern const Record kFileEventsRecord;
extern const Record kEngineRecord;
extern const Record kEngineCommonRecord;
extern const Record kPop3Record;
extern const Record kSmtpRecord;
extern const Record kHttpRecord;
extern const Record kHttpManagerRecord;
extern const Record kWebMailRecord;
extern const Record kAntiSpamRecord;
extern const Record kMailRecord;

std::span<const Record* const> allRecords();
/* By name; an unknown one is a usage error that lists those there are. */
const Record& findRecord(std::string_view name);
const Field& findField(const Record& record, std::string_view name);

} // namespace wdlt

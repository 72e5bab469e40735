#include "Records.h"

#include "Catalog.h"
#include "Handlers.h"
#include "Reached.h"
#include "SpamFiles.h"
#include "Suggestion.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <string>
#include <type_traits>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* The catalog's entry of that name; the caller adds how it is read and written. An unknown name doesn't compile. */
constexpr Record described(std::string_view name, std::size_t size) {
    const Settings* const found = std::ranges::find(kSettings, name, &Settings::name);
    return {found->name, found->help, size, found->fields, nullptr, nullptr};
}

/* A record of type T that one export reads and another writes. */
template <class T, auto ReadExport, auto WriteExport>
constexpr Record exportedRecord(std::string_view name) {
    Record record = described(name, sizeof(T));
    record.read = [](const std::string&, std::span<BYTE> bytes) {
        T read{};
        const std::int32_t status = ReadExport(&read);
        std::memcpy(bytes.data(), &read, sizeof read);
        return status;
    };
    record.write = [](const std::string&, std::span<BYTE> bytes) {
        T written;
        std::memcpy(&written, bytes.data(), sizeof written);
        return WriteExport(&written);
    };
    if constexpr (std::is_same_v<T, WdltAspmConfig>)
        record.lookBeforeWrite = lookAtSpamFiles;
    return record;
}

/* A record of type T at its address. */
template <class T, std::uint32_t Protocol, std::uint32_t Scan, std::uint32_t Input, std::uint64_t ConfigType>
constexpr Record addressedRecord(std::string_view name) {
    Record record = described(name, sizeof(T));
    record.read = [](const std::string&, std::span<BYTE> bytes) {
        std::uint64_t size = bytes.size();
        return WdltReadConfigEx(Protocol, Scan, Input, ConfigType, bytes.data(), &size);
    };
    record.write = [](const std::string&, std::span<BYTE> bytes) {
        return WdltWriteConfigEx(Protocol, Scan, Input, ConfigType, bytes.data(), bytes.size());
    };
    return record;
}

std::int32_t readHandler(const std::string& which, std::span<BYTE> record) {
    const Handler handler = findHandler(which);
    std::memcpy(record.data(), &handler.head, record.size());
    return WDLT_OK;
}

/* Writes the head alone: redirects have their own write. */
std::int32_t writeHandler(const std::string&, std::span<BYTE> record) {
    WdchSystemProtocolHandler head;
    std::memcpy(&head, record.data(), sizeof head);
    return WdltWriteConfig(WDLT_PROTOCOL_SYSTEM + head.type, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, record.data(),
                           record.size());
}

std::vector<std::string> handlerNames() {
    std::vector<std::string> names;
    for (const Handler& handler : allHandlers())
        names.push_back(handler.name());
    return names;
}

constexpr Record handlerRecord() {
    Record record = described("handler", sizeof(WdchSystemProtocolHandler));
    record.read = readHandler;
    record.write = writeHandler;
    record.whichName = "HANDLER";
    record.whichHelp = "its name or type: POP3, 1";
    record.whichWords = handlerNames;
    return record;
}
constexpr Record kHandlerRecord = handlerRecord();

struct EnginePlace {
    std::string_view name;
    std::uint32_t protocol;
    std::uint32_t input;
};
constexpr EnginePlace kEnginePlaces[] = {
    {"pop3", WDLT_PROTOCOL_POP3, WDLT_INPUT_NONE},
    {"smtp", WDLT_PROTOCOL_SMTP, WDLT_INPUT_NONE},
    {"http", WDLT_PROTOCOL_HTTP, WDLT_INPUT_NONE},
    {"files", WDLT_PROTOCOL_HTTP, WDLT_INPUT_HTTP_FILE_SCAN},
};

const EnginePlace& findEnginePlace(std::string_view name) {
    return findNamed(kEnginePlaces, name, "place", &EnginePlace::name);
}

std::int32_t readEngine(const std::string& which, std::span<BYTE> record) {
    const EnginePlace& place = findEnginePlace(which);
    std::uint64_t size = record.size();
    return WdltReadConfigEx(place.protocol, WDLT_SCAN_VIRUS, place.input, WDLT_CONFIG_DEFAULT, record.data(), &size);
}

std::int32_t writeEngine(const std::string& which, std::span<BYTE> record) {
    const EnginePlace& place = findEnginePlace(which);
    return WdltWriteConfigEx(place.protocol, WDLT_SCAN_VIRUS, place.input, WDLT_CONFIG_DEFAULT, record.data(),
                             record.size());
}

std::vector<std::string> enginePlaceNames() {
    std::vector<std::string> names;
    for (const EnginePlace& place : kEnginePlaces)
        names.emplace_back(place.name);
    return names;
}

/* One table for all the engine's places, without fresh values, which differ between them. */
constexpr auto kEngineFieldsOfAll = shown(kEngineFields);
constexpr Record kEngineRecord{"virus",
                               "all that the scan engine is told in one place",
                               sizeof(WdpeVsData),
                               kEngineFieldsOfAll,
                               readEngine,
                               writeEngine,
                               "PLACE",
                               "pop3, smtp, http or files",
                               enginePlaceNames};

std::int32_t readHttpsFlags(HttpsFlags* flags) {
    return WdltPluginScanGetEnableFlag(&flags->enable);
}
std::int32_t writeHttpsFlags(const HttpsFlags* flags) {
    return WdltPluginScanSetEnableFlag(flags->enable);
}

constexpr Record kHttpsFlagsRecord = exportedRecord<HttpsFlags, readHttpsFlags, writeHttpsFlags>("https-flags");

/* clang-format off */
#define WDLT_EXPORTED_ROW(name, Type, readExport, writeExport) exportedRecord<Type, readExport, writeExport>(name),
#define WDLT_ADDRESSED_ROW(name, Type, protocol, scan, input, type) addressedRecord<Type, protocol, scan, input, type>(name),
#define WDLT_PLACED_ROW(name, Type, row) row,
#define WDLT_OTHER_ROW(row) row,
/* clang-format on */
constexpr Record kRecords[] = {
    WDLT_RECORD_LIST(WDLT_EXPORTED_ROW, WDLT_ADDRESSED_ROW, WDLT_PLACED_ROW, WDLT_OTHER_ROW)};

} // namespace

std::span<const Record> allRecords() {
    return kRecords;
}

const Record& findRecord(std::string_view name) {
    return findNamed(kRecords, name, "record", &Record::name);
}

const Field& findField(const Record& record, std::string_view name) {
    const auto found =
        std::ranges::find_if(record.fields, [&](const Field& field) { return equalsIgnoringCase(field.member, name); });
    return found != record.fields.end()
               ? *found
               : findNamed(record.fields, name, fmt::format("field of {}", record.name), nameOf);
}

ToolError whichIsNeeded(const Record& record) {
    return {ExitStatus::Usage, fmt::format("{}: {} is needed, {}", record.name, record.whichName, record.whichHelp)};
}

ToolError tooManyFields(std::string_view field) {
    return {ExitStatus::Usage, fmt::format("{}: one field, or none for all", field)};
}

} // namespace wdlt

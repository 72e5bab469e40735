#include "Records.h"

#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <string>

namespace wdlt {
namespace {

constexpr const Record* kRecords[] = {
    &kSystemRecord,       &kHandlerRecord,      &kUrlFilterRecord,     &kUrlFilterProxyRecord,
    &kRatingServerRecord, &kUntestedUrlsRecord, &kHostFilterRecord,    &kPop3ScanRecord,
    &kSmtpScanRecord,     &kWebMailScanRecord,  &kFileVirusScanRecord, &kFileScanRecord,
    &kFileEventsRecord,   &kEngineRecord,       &kEngineCommonRecord,  &kPop3Record,
    &kSmtpRecord,         &kHttpRecord,         &kHttpManagerRecord,   &kWebMailRecord,
    &kHttpsRecord,        &kHttpsFlagsRecord,   &kPluginManagerRecord, &kDrsRecord,
    &kSalRecord,          &kAntiSpamRecord,     &kMailRecord,
};

template <typename Range, typename NameOf>
std::string namesOf(const Range& range, NameOf nameOf) {
    std::string names;
    for (const auto& each : range)
        names += (names.empty() ? "" : ", ") + std::string(nameOf(each));
    return names;
}

} // namespace

std::span<const Record* const> allRecords() {
    return kRecords;
}

const Record& findRecord(std::string_view name) {
    const auto* found = std::find_if(std::begin(kRecords), std::end(kRecords),
                                     [&](const Record* record) { return record->name == name; });
    if (found == std::end(kRecords))
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}: no such record; there is {}", name,
                                    namesOf(kRecords, [](const Record* record) { return record->name; })));
    return **found;
}

const Field& findField(const Record& record, std::string_view name) {
    const auto found = std::find_if(record.fields.begin(), record.fields.end(),
                                    [&](const Field& field) { return field.name == name; });
    if (found == record.fields.end())
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{} {}: no such field; there are {}", record.name, name,
                                    namesOf(record.fields, [](const Field& field) { return field.name; })));
    return *found;
}

} // namespace wdlt

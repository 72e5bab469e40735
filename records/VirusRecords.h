// The virus scan engine, its settings for each place and for all places together, and the scan of files over HTTP.
#pragma once

#include "Field.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace wdlt {

inline constexpr std::uint32_t kUnlimitedExtract = 0xFFFFFFFF;
inline constexpr std::uint32_t kDefaultMultiInfection = 30;

// What a place has in a fresh installation, and the defaults for values that can't be read.
struct EngineDefaults {
    std::uint32_t protocol;
    std::uint32_t input;
    WdpeVsData data;
};
// clang-format off
inline constexpr EngineDefaults kEngineDefaults[] = {
    //                                        action, 2nd, clean, scan, layer, extract,          packer, infections,            spyware, action
    {WDLT_PROTOCOL_POP3, WDLT_INPUT_NONE,           {3, 4,   1,   1,    1,     kUnlimitedExtract, 1,     kDefaultMultiInfection, 1,      201}},
    {WDLT_PROTOCOL_SMTP, WDLT_INPUT_NONE,           {3, 101, 1,   1,    1,     kUnlimitedExtract, 1,     kDefaultMultiInfection, 1,      101}},
    {WDLT_PROTOCOL_HTTP, WDLT_INPUT_NONE,           {3, 4,   1,   1,    1,     kUnlimitedExtract, 1,     kDefaultMultiInfection, 1,      4}},
    {WDLT_PROTOCOL_HTTP, WDLT_INPUT_HTTP_FILE_SCAN, {3, 4,   1,   1,    1,     0x100000,          1,     kDefaultMultiInfection, 1,      4}},
};
// clang-format on

// Null for any other place.
constexpr const WdpeVsData* findEngineDefaults(std::uint32_t protocol, std::uint32_t input) {
    const auto* const found = std::ranges::find_if(
        kEngineDefaults, [&](const EngineDefaults& row) { return row.protocol == protocol && row.input == input; });
    return found == std::end(kEngineDefaults) ? nullptr : &found->data;
}

// In the order of reading and writing.
inline constexpr FieldOf<WdpeVsData> kEngineFields[] = {
    number(WDLT_IN(WdpeVsData, dwFirstAction), "Action")
        .namedAsMember()
        .orDefaults(Told::AsTrace)
        .is("action on a find, a number of the engine's"),
    number(WDLT_IN(WdpeVsData, dwSecondAction), "Action2nd")
        .namedAsMember()
        .namedOnWrite("dwSectionAction")
        .orDefaults(Told::AsTrace)
        .is("action where the first one fails"),
    number(WDLT_IN(WdpeVsData, dwZipClean), "ZipClean")
        .namedAsMember()
        .orDefaults(Told::AsTrace)
        .flag("archives are cleaned inside"),
    number(WDLT_IN(WdpeVsData, dwZipScan), "ZipScan")
        .namedAsMember()
        .orDefaults(Told::AsTrace)
        .unreadable(0)
        .flag("archives are scanned inside"),
    number(WDLT_IN(WdpeVsData, dwZipLayer), "ZipLayer")
        .namedAsMember()
        .orDefaults(Told::AsTrace)
        .reads(between(1, 6))
        .is("layers of archives in archives"),
    number(WDLT_IN(WdpeVsData, dwExtractFileSizeLimit), "ExtractFileSizeLimit")
        .namedAsMember()
        .orDefaults(Told::AsTrace)
        .is("largest file that is extracted"),
    number(WDLT_IN(WdpeVsData, dwPackerSnare), "PackerSnare")
        .namedAsMember()
        .orDefaults(Told::AsTrace)
        .flag("suspicious packers are looked for"),
    number(WDLT_IN(WdpeVsData, dwMultiInfection), "MultiInfection")
        .orDefaults(Told::Quietly)
        .unreadable(kDefaultMultiInfection, Told::Quietly)
        .reads(atLeast(1))
        .readOnly()
        .is("finds in one file after which the scan ends"),
    number(WDLT_IN(WdpeVsData, dwSpywareScan), "SpywareScan")
        .namedAsMember()
        .orDefaults(Told::Quietly)
        .unreadable(0, Told::Quietly)
        .flag("spyware is looked for"),
    number(WDLT_IN(WdpeVsData, dwSpywareAction), "SpywareAction")
        .namedAsMember()
        .orDefaults(Told::AsTrace)
        .is("action on spyware"),
};
static_assert(cover(kEngineFields));
// Replaces the last row while the spyware scan is off, when a missing action does no harm.
inline constexpr FieldOf<WdpeVsData> kUnusedSpywareAction =
    number(WDLT_IN(WdpeVsData, dwSpywareAction), "SpywareAction").unreadable(0, Told::Quietly);

// In the order of reading and writing. After the first two an empty folder is replaced by the install directory; if
// there is none, the read ends there with WDLT_OK.
inline constexpr FieldOf<WdpeVsCommon> kEngineCommonFields[] = {
    number(WDLT_IN(WdpeVsCommon, dwLanguage), "Language")
        .namedAsMember()
        .is("language of the engine, a number of its own")
        .fresh(0),
    text(WDLT_IN(WdpeVsCommon, szPatternPath), "PatternPath", 259)
        .namedAsMember()
        .failsToldAs(Told::AsTrace)
        .directory()
        .is("folder of the pattern files; empty reads as the install directory")
        .fresh(""),
    number(WDLT_IN(WdpeVsCommon, dwKeepNumber), "KeepNumber")
        .namedAsMember()
        .failsToldAs(Told::AsTrace)
        .reads(atMost(0x7FFFFFFF))
        .is("old pattern files that are kept")
        .fresh(3),
    number(WDLT_IN(WdpeVsCommon, dwPurgeBadPattern), "PurgeBadPattern")
        .namedAsMember()
        .unreadable(0, Told::Quietly)
        .flag("pattern files that don't load are deleted")
        .fresh(0),
    number(WDLT_IN(WdpeVsCommon, dwEngineType), "EngineType")
        .unreadable(0, Told::Quietly)
        .readOnly()
        .is("kind of engine")
        .fresh(0),
};
static_assert(cover(kEngineCommonFields));

// In the order of reading and writing, which isn't the record's.
inline constexpr FieldOf<WdpeHttpFileScanData> kFileScanFields[] = {
    number(WDLT_IN(WdpeHttpFileScanData, dwHttpActionMode), "HttpActionMode")
        .unreadable(0)
        .is("what is done with a file while it is scanned")
        .fresh(0),
    number(WDLT_IN(WdpeHttpFileScanData, dwActionSizeThreshold), "ActionSizeThreshold")
        .unreadable(256)
        .writes(atMost(WDLT_MAX_SCAN_SIZE))
        .is("size from which that counts")
        .fresh(256),
    number(WDLT_IN(WdpeHttpFileScanData, dwMaxScanSize), "MaxScanSize")
        .unreadable(5120)
        .writes(atMost(WDLT_MAX_SCAN_SIZE))
        .is("largest file that is scanned")
        .fresh(5120),
    text(WDLT_IN(WdpeHttpFileScanData, szTargetTypes), "TargetTypes")
        .unreadable("7")
        .cut()
        .withoutTerminator()
        .is("types of files that are scanned")
        .fresh("7"),
};
static_assert(cover(kFileScanFields, WDLT_IN(WdpeHttpFileScanData, reserved)));

} // namespace wdlt

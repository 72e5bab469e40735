// SAL, and the plug-in manager and DRS, whose families access their values directly.
#pragma once

#include "Field.h"

#include <wdltcfg/records.h>

#include <cstdint>

namespace wdlt {

template <class Record>
constexpr FieldOf<Record> salFlag(const MemberOf<Record, std::uint32_t>& place, const char* value) {
    return number(place, value).unreadable(0).reads(exactlyOne()).writes(asFlag()).fresh(0);
}
inline constexpr FieldOf<WdpeSalData> kSalFields[] = {
    salFlag(WDLT_IN(WdpeSalData, dwQueryIP), "QueryIP").flag("addresses are asked for"),
    salFlag(WDLT_IN(WdpeSalData, dwTakeAction), "TakeAction").flag("what is found is acted upon"),
    salFlag(WDLT_IN(WdpeSalData, dwAddandScanMode), "AddandScanMode").flag("add and scan"),
    text(WDLT_IN(WdpeSalData, szBlockImages), "BlockImages", 512)
        .unreadable("")
        .withoutTerminator()
        .is("images that are held back; an empty text changes none")
        .fresh(""),
};
static_assert(cover(kSalFields));

inline constexpr FieldOf<WdltPluginManagerConfig> kPluginManagerFields[] = {
    number(WDLT_IN(WdltPluginManagerConfig, dwEnable), "enable")
        .flag("it is on; the HTTP handler is asked to go on")
        .fresh(0),
    text(WDLT_IN(WdltPluginManagerConfig, szFilename), "filename").is("file of the plug-in").fresh("WdPlugIn.dll"),
};
static_assert(cover(kPluginManagerFields));

// Kept with the URL filter's values.
inline constexpr FieldOf<WdltDrsConfig> kDrsFields[] = {
    number(WDLT_IN(WdltDrsConfig, ActionMode), "DRSCredBlock")
        .unreadable(0)
        .flag("a page is held back, not only reported")
        .fresh(1),
    number(WDLT_IN(WdltDrsConfig, ScoreThreshold), "DRSScoreThreshold")
        .unreadable(0)
        .takes(0, 100)
        .is("score from which it acts")
        .fresh(50),
};
static_assert(cover(kDrsFields));

} // namespace wdlt

// The virus scans of the four places, the file scan's settings and the file events, through the library.
#include "FakeService.h"
#include "FieldRecords.h"
#include "RegistryRefusal.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

const std::string kManagerKey = "Scan\\Common\\HttpManager\\config";
const std::string kFileScanKey = "Scan\\Common\\HttpFileScan\\config";

struct Place {
    const char* name;
    std::int32_t (*read)(const LoadedLibrary& library, WdltVsConfig* config);
    std::int32_t (*write)(const LoadedLibrary& library, const WdltVsConfig* config);
    std::string scanKey;
    std::string limitKey;
    const char* limit;
    const char* limitOther;    // another value of the limit's record, which a write leaves alone
    std::int32_t withoutLimit; // status of read and write without the limit
    Change scanChange;
    Change limitChange;
    std::string lines; // what its log lines begin with
};

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.name;
}

#define PLACE_CALLS(reading, writing)                                                                                  \
    [](const LoadedLibrary& library, WdltVsConfig* config) { return WDLT_CALL(library, reading)(config); },            \
        [](const LoadedLibrary& library, const WdltVsConfig* config) { return WDLT_CALL(library, writing)(config); }

const Place kPlaces[] = {
    {"Pvs", PLACE_CALLS(WdltPvsReadConfig, WdltPvsWriteConfig), "Scan\\In\\Virus\\config",
     "ProtocolHandler\\Mail in\\config", "LimitSize", "WaitTime", WDLT_E_NOT_FOUND, Change{1, 1}, Change{1, 0},
     "FuncPvs::Config"},
    {"Svs", PLACE_CALLS(WdltSvsReadConfig, WdltSvsWriteConfig), "Scan\\Out\\Virus\\config",
     "ProtocolHandler\\Mail out\\config", "LimitSize", "MaxSessionCount", WDLT_E_NOT_FOUND, Change{2, 1}, Change{2, 0},
     "FuncSvs::Config"},
    {"Wmvs", PLACE_CALLS(WdltWmvsReadConfig, WdltWmvsWriteConfig), "Scan\\Web\\Virus\\config", kManagerKey,
     "MaxWebMailScanSize", "HttpNotifyExFlag", WDLT_E_REGISTRY, Change{3, 1}, Change{0, 0x20000}, "FuncWmvs::Config"},
    {"HfsVirus", PLACE_CALLS(WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig), "Scan\\Web\\HttpFileScan\\config",
     kFileScanKey, "MaxScanSize", "HttpActionMode", WDLT_OK, Change{3, 1}, Change{0, 1}, "FuncHfs::ConfigVirus"},
};

class VirusScans : public FieldRecord {
  protected:
    VirusScans() {
        for (const char* const handler : {"Mail in", "Mail out"})
            for (const char* const value : {"LimitSize", "IntervalLength", "WaitTime", "MaxSessionCount"})
                tree::setNumber(std::string("ProtocolHandler\\").append(handler).append("\\config"), value, 10);
        for (const char* const file :
             {"UrlHistoryFile", "ExclusionExtensions", "UrlFilterAlertFile", "UrlFilterCredAlertFile",
              "HostFilterAlertFile", "HostFilterErrorFile", "PrivacyDataAlertFile"})
            tree::setText(kManagerKey, file, "x");
        for (const char* const value : {"MaxUrlHistoryCount", "MaxWebMailScanSize", "HttpNotifyExFlag"})
            tree::setNumber(kManagerKey, value, 10);
        for (const char* const value : {"HttpActionMode", "MaxScanSize", "ActionSizeThreshold"})
            tree::setNumber(kFileScanKey, value, 10);
    }
};

class VirusScan : public VirusScans, public testing::WithParamInterface<Place> {
  protected:
    const Place& place = GetParam();
    const WdltVsConfig config{21, 22, 1, 0, 5, 24, 0x5000, 1, 26};
};

TEST_P(VirusScan, AllFieldsComeBackAndNothingElseIsTouched) {
    tree::setNumber(place.scanKey, "ExtractFileSizeLimit", 4711);
    ChangeListener service;
    ASSERT_EQ(place.write(library, &config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(place.scanChange, place.limitChange));
    WdltVsConfig again{};
    ASSERT_EQ(place.read(library, &again), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &config, sizeof again), 0);
    EXPECT_EQ(tree::number(place.scanKey, "ExtractFileSizeLimit"), 4711u);
    EXPECT_EQ(tree::number(place.limitKey, place.limit), 0x5000u);
    EXPECT_EQ(tree::number(place.limitKey, place.limitOther), 10u);
    EXPECT_TRUE(library.logged("C" + place.lines + "Read(): IN"));
    EXPECT_TRUE(library.logged("C" + place.lines + "Write(): OUT"));
    const RegistryRefusal refusal("RegSetValueEx", place.limit); // comes after the scan's values
    EXPECT_EQ(place.write(library, &config), WDLT_E_REGISTRY);
    EXPECT_THAT(service.heard(), ElementsAre(place.scanChange));
    EXPECT_TRUE(library.logged(place.lines + "Write(): Failed to write data: -9"));
}

// The limit's record is read first: without it the scan's defaults don't help.
TEST_P(VirusScan, WithoutTheLimit) {
    tree::deleteValue(place.limitKey, place.limit);
    const ChangeListener service;
    WdltVsConfig read = config;
    EXPECT_EQ(place.read(library, &read), place.withoutLimit);
    EXPECT_EQ(read.dwLimitSize, place.withoutLimit == WDLT_OK ? 5120u : config.dwLimitSize);
    EXPECT_EQ(place.write(library, &config), place.withoutLimit);
    EXPECT_EQ(tree::keyExists(place.scanKey), place.withoutLimit == WDLT_OK);
    const bool isTold = place.withoutLimit != WDLT_OK;
    EXPECT_EQ(library.logged(place.lines + "Read(): Failed to read on CConfigReader: "), isTold);
    EXPECT_EQ(library.logged(place.lines + "Write(): Failed to "), isTold);
}

INSTANTIATE_TEST_SUITE_P(Places, VirusScan, testing::ValuesIn(kPlaces),
                         [](const auto& info) { return std::string(info.param.name); });

using WebFiles = VirusScans;

TEST_F(WebFiles, TheFileScanAndItsVirusScanLeaveEachOtherAlone) {
    const auto write = WDLT_CALL(library, WdltHfsWriteConfig);
    const auto read = WDLT_CALL(library, WdltHfsReadConfig);
    ChangeListener service;
    WdltHfsConfig config{5, 0xFFFFFFFF, {}};
    std::memset(config.szTargetTypes, 't', sizeof config.szTargetTypes); // no terminator
    ASSERT_EQ(write(&config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(Change{0, 1}));
    EXPECT_EQ(tree::number(kFileScanKey, "MaxScanSize"), 10u);
    WdltHfsConfig again;
    std::memset(&again, 0xEE, sizeof again);
    ASSERT_EQ(read(&again), WDLT_OK);
    EXPECT_EQ(again.dwActionSizeThreshold, 0x9FFFFu);
    EXPECT_EQ(std::string(again.szTargetTypes), std::string(255, 't'));

    WdltVsConfig virus{};
    virus.dwLimitSize = 700000;
    ASSERT_EQ(WDLT_CALL(library, WdltHfsVirusWriteConfig)(&virus), WDLT_OK);
    EXPECT_EQ(tree::number(kFileScanKey, "MaxScanSize"), 0x9FFFFu);
    EXPECT_EQ(tree::number(kFileScanKey, "HttpActionMode"), 5u);
}

TEST_F(WebFiles, FileEvents) {
    const auto write = WDLT_CALL(library, WdltHfeWriteConfig);
    const auto read = WDLT_CALL(library, WdltHfeReadConfig);
    ChangeListener service;
    WdpeHfeData config{3, 0};
    EXPECT_EQ(write(&config), WDLT_OK);
    EXPECT_EQ(read(&config), WDLT_OK);
    EXPECT_EQ(config.dwHfeMaxDecompressSize, 0x10000u);
    const auto enable = WDLT_CALL(library, WdltHfeEnablePluginEvent);
    const auto isEnabled = WDLT_CALL(library, WdltHfeIsEnablePluginEvent);
    for (const std::int32_t on : {-2, 0}) {
        EXPECT_EQ(enable(on), WDLT_OK);
        EXPECT_EQ(isEnabled(), on != 0 ? 1 : 0);
    }
    constexpr Change kManager{0, WDLT_SCAN_HTTP_MANAGER};
    EXPECT_THAT(service.heard(), ElementsAre(kManager, kManager, kManager));
}

} // namespace

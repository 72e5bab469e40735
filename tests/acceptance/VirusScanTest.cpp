// The virus scans of the four places, the file scan's settings and the file events, as callers of the library have
// them.
#include "FakeService.h"
#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "RegistryRefusal.h"
#include "TimeScale.h"
#include "Tree.h"

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
using testing::IsEmpty;

const std::string kManagerKey = "Scan\\Common\\HttpManager\\config";
const std::string kFileScanKey = "Scan\\Common\\HttpFileScan\\config";

// One place, with its texts where they go their own way.
struct Place {
    const char* name;
    std::int32_t (*read)(const LoadedLibrary& library, WdltVsConfig* config);
    std::int32_t (*write)(const LoadedLibrary& library, const WdltVsConfig* config);
    std::string scanKey;
    std::string limitKey;
    const char* limit;
    const char* limitOther; // another value of the limit's record, which a write leaves alone
    int limitWrites;        // how many values of its record stand before the limit, and it
    bool needsLimitRecord;  // a read fails without it
    Change scanChange;
    Change limitChange;
    const char* reading;
    const char* writing;
    const char* limitUnread;    // on writing
    const char* writingFailure; // what the lines of a failing write begin with
};

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.name;
}

#define PLACE_CALLS(reading, writing)                                                                                  \
    [](const LoadedLibrary& library, WdltVsConfig* config) { return WDLT_CALL(library, reading)(config); },            \
        [](const LoadedLibrary& library, const WdltVsConfig* config) { return WDLT_CALL(library, writing)(config); }

const Place kPlaces[] = {
    {"Pvs", PLACE_CALLS(WdltPvsReadConfig, WdltPvsWriteConfig), "Scan\\In\\Virus\\config",
     "ProtocolHandler\\In\\config", "LimitSize", "WaitTime", 1, true, Change{1, 1}, Change{1, 0},
     "CFuncPvs::ConfigRead", "CFuncPvs::ConfigWrite",
     "CFuncPvs::ConfigWrite(): Failed to read config: ", "CFuncPvs::ConfigWrite"},
    {"Svs", PLACE_CALLS(WdltSvsReadConfig, WdltSvsWriteConfig), "Scan\\Out\\Virus\\config",
     "ProtocolHandler\\Out\\config", "LimitSize", "MaxSessionCount", 1, true, Change{2, 1}, Change{2, 0},
     "CFuncSvs::ConfigRead", "CFuncSvs::ConfigWrite",
     "CFuncSvs::ConfigWrite(): Failed to cread config: ", "CFuncSvs::ConfigWrite"},
    {"Wmvs", PLACE_CALLS(WdltWmvsReadConfig, WdltWmvsWriteConfig), "Scan\\Web\\Virus\\config", kManagerKey,
     "MaxWebMailScanSize", "HttpNotifyExFlag", 9, true, Change{3, 1}, Change{0, 0x20000}, "CFuncWmvs::ConfigRead",
     "CFuncWmvs::ConfigWrite", "FuncWmvs::ConfigWrite(): Failed to read config: ", "FuncWmvs::ConfigWrite"},
    {"HfsVirus", PLACE_CALLS(WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig), "Scan\\Web\\HttpFileScan\\config",
     kFileScanKey, "MaxScanSize", "HttpActionMode", 3, false, Change{3, 1}, Change{0, 1}, "CFuncHfs::ConfigVirusRead",
     "CFuncHfs::ConfigVirusWrite",
     "CFuncHfs::ConfigVirusWrite(): Failed to read config: ", "FuncHfs::ConfigVirusWrite"},
};

void layDownTree() {
    tree::clear();
    std::uint32_t type = 0;
    for (const std::string folder : {"In", "Out", "Web"}) {
        const std::string handler = "ProtocolHandler\\" + folder;
        tree::setNumber(handler, "Type", ++type);
        tree::setText(handler, "Scan", folder);
        for (const char* const value : {"LimitSize", "IntervalLength", "WaitTime", "MaxSessionCount"})
            tree::setNumber(handler + "\\config", value, 10);
    }
    for (const char* const file :
         {"UrlHistoryFile", "ExclusionExtensions", "UrlFilterAlertFile", "UrlFilterCredAlertFile",
          "HostFilterAlertFile", "HostFilterErrorFile", "PrivacyDataAlertFile"})
        tree::setText(kManagerKey, file, "x");
    for (const char* const value : {"MaxUrlHistoryCount", "MaxWebMailScanSize", "HttpNotifyExFlag"})
        tree::setNumber(kManagerKey, value, 10);
    for (const char* const value : {"HttpActionMode", "MaxScanSize", "ActionSizeThreshold"})
        tree::setNumber(kFileScanKey, value, 10);
}

bool areEqual(const WdltVsConfig& left, const WdltVsConfig& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

template <class Parameter>
class WithTree : public Parameter {
  protected:
    WithTree() { layDownTree(); }

    const TimeScale patient{"0.05"};
    const FreshLog log;
    const LoadedLibrary library{LoadedLibrary::withLog};
};

class VirusScan : public WithTree<testing::TestWithParam<Place>> {
  protected:
    const Place& place = GetParam();
    const WdltVsConfig config{21, 22, 1, 0, 5, 24, 0x5000, 1, 26};
};

TEST_P(VirusScan, AllFieldsComeBackAndNothingElseIsTouched) {
    tree::setNumber(place.scanKey, "ExtractFileSizeLimit", 4711);
    tree::setNumber(place.scanKey, "MultiInfection", 12);
    ChangeListener service;
    ASSERT_EQ(place.write(library, &config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(place.scanChange, place.limitChange));
    WdltVsConfig again{};
    ASSERT_EQ(place.read(library, &again), WDLT_OK);
    EXPECT_TRUE(areEqual(again, config));
    EXPECT_EQ(tree::number(place.scanKey, "ExtractFileSizeLimit"), 4711u);
    EXPECT_EQ(tree::number(place.scanKey, "MultiInfection"), 12u);
    EXPECT_EQ(tree::number(place.limitKey, place.limit), 0x5000u);
    EXPECT_EQ(tree::number(place.limitKey, place.limitOther), 10u);
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_TRUE(library.logged(std::string(place.reading) + "(): IN"));
    EXPECT_TRUE(library.logged(std::string(place.writing) + "(): OUT"));
}

// The limit's record comes first: the scan's has defaults, but that is of no use then.
TEST_P(VirusScan, WithoutTheLimit) {
    tree::deleteValue(place.limitKey, place.limit);
    ChangeListener service;
    WdltVsConfig read = config;
    if (!place.needsLimitRecord) {
        EXPECT_EQ(place.read(library, &read), WDLT_OK);
        EXPECT_EQ(read.dwLimitSize, 5120u);
        EXPECT_EQ(place.write(library, &config), WDLT_OK);
        return;
    }
    const std::int32_t status = place.read(library, &read);
    EXPECT_EQ(status, place.limitKey == kManagerKey ? WDLT_E_REGISTRY : WDLT_E_NOT_FOUND);
    EXPECT_TRUE(areEqual(read, config)); // as it was
    EXPECT_EQ(place.write(library, &config), status);
    EXPECT_FALSE(tree::keyExists(place.scanKey));
    EXPECT_THAT(service.heard(), IsEmpty());
    const std::string number = std::to_string(status);
    EXPECT_TRUE(library.logged(std::string(place.reading) + "(): Failed to read on CConfigReader: " + number));
    EXPECT_TRUE(library.logged(place.limitUnread + number));
}

// The scan's nine values are stored and told before the limit's record is written.
TEST_P(VirusScan, AFailingWriteLeavesWhatCameBeforeIt) {
    ChangeListener service;
    const FailingWrite refused(9 + place.limitWrites);
    EXPECT_EQ(place.write(library, &config), WDLT_E_REGISTRY);
    EXPECT_TRUE(tree::number(place.scanKey, "SpywareAction").has_value());
    EXPECT_EQ(tree::number(place.limitKey, place.limit), 10u);
    EXPECT_THAT(service.heard(), ElementsAre(place.scanChange));
    EXPECT_TRUE(library.logged(std::string(place.writingFailure) + "(): Failed to write data: -9"));
}

INSTANTIATE_TEST_SUITE_P(Places, VirusScan, testing::ValuesIn(kPlaces),
                         [](const auto& info) { return std::string(info.param.name); });

class WebFiles : public WithTree<testing::Test> {};

TEST_F(WebFiles, TheFileScanAndItsVirusScanLeaveEachOtherAlone) {
    const auto write = WDLT_CALL(library, WdltHfsWriteConfig);
    const auto read = WDLT_CALL(library, WdltHfsReadConfig);
    ChangeListener service;
    WdltHfsConfig config{5, 0xFFFFFFFF, {}};
    std::memset(config.szTargetTypes, 't', sizeof config.szTargetTypes); // no terminator
    ASSERT_EQ(write(&config), WDLT_OK);
    EXPECT_THAT(service.heard(), ElementsAre(Change{0, 1}));
    EXPECT_EQ(tree::number(kFileScanKey, "MaxScanSize"), 10u);
    EXPECT_EQ(tree::number(kFileScanKey, "HttpActionMode"), 5u);
    EXPECT_EQ(tree::storedText(kFileScanKey, "TargetTypes"), std::string(255, 't') + '\0');
    WdltHfsConfig again;
    std::memset(&again, 0xEE, sizeof again);
    ASSERT_EQ(read(&again), WDLT_OK);
    EXPECT_EQ(again.dwHttpActionMode, 5u);
    EXPECT_EQ(again.dwActionSizeThreshold, 0x9FFFFu);
    EXPECT_EQ(std::string(again.szTargetTypes), std::string(255, 't'));

    WdltVsConfig virus{};
    virus.dwLimitSize = 700000;
    ASSERT_EQ(WDLT_CALL(library, WdltHfsVirusWriteConfig)(&virus), WDLT_OK);
    EXPECT_EQ(tree::number(kFileScanKey, "MaxScanSize"), 0x9FFFFu);
    EXPECT_EQ(tree::number(kFileScanKey, "HttpActionMode"), 5u);

    const FailingWrite refused(1);
    EXPECT_EQ(write(&config), WDLT_E_REGISTRY);
    EXPECT_TRUE(library.logged("> FuncHfs::ConfigWrite(): Failed to write data: -9"));
}

TEST_F(WebFiles, FileEvents) {
    const auto write = WDLT_CALL(library, WdltHfeWriteConfig);
    const auto read = WDLT_CALL(library, WdltHfeReadConfig);
    WdpeHfeData config{};
    EXPECT_EQ(read(&config), WDLT_OK); // with nothing stored
    EXPECT_EQ(config.dwHfeTargetMethod, 1u);
    EXPECT_EQ(config.dwHfeMaxDecompressSize, 0x10000u);

    ChangeListener service;
    config = {3, 0};
    EXPECT_EQ(write(&config), WDLT_OK);
    EXPECT_EQ(read(&config), WDLT_OK);
    EXPECT_EQ(config.dwHfeTargetMethod, 3u);
    EXPECT_EQ(config.dwHfeMaxDecompressSize, 0x10000u);

    const auto enable = WDLT_CALL(library, WdltHfeEnablePluginEvent);
    const auto isEnabled = WDLT_CALL(library, WdltHfeIsEnablePluginEvent);
    EXPECT_EQ(isEnabled(), 0);
    EXPECT_EQ(enable(-2), WDLT_OK);
    EXPECT_EQ(isEnabled(), 1);
    EXPECT_EQ(tree::number(kManagerKey, "HfeEnablePluginFileEvent"), 1u);
    EXPECT_EQ(enable(0), WDLT_OK);
    EXPECT_EQ(isEnabled(), 0);
    constexpr Change kManager{0, WDLT_SCAN_HTTP_MANAGER};
    EXPECT_THAT(service.heard(), ElementsAre(kManager, kManager, kManager));

    {
        const FailingWrite refused(1);
        EXPECT_EQ(write(&config), WDLT_E_REGISTRY);
    }
    const FailingWrite refused(1);
    EXPECT_EQ(enable(1), WDLT_E_REGISTRY);
    EXPECT_THAT(service.heard(), IsEmpty());
    for (const char* const line : {"CFuncHfe::ConfigWrite() Failed to write config: -9",
                                   "CFuncHfe::EnablePluginEvent() Failed to write config: -9"})
        EXPECT_TRUE(library.logged(line)) << line;
}

} // namespace

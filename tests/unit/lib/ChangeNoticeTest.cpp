// How the writer of a setting talks to the service; the results are tested through the exports.
#include "ChangeNotice.h"

#include "FakeService.h"
#include "LayerDoubles.h"
#include "TimeScale.h"

#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

TEST(ChangeNotice, TheServiceHasAPauseBehindItsAnswerOrItsSilence) {
    for (const bool answers : {true, false}) {
        const FakeService service("wdlt_config_change_evt", 8, [=](BYTE*) { return answers; });
        const TimeScale scale(answers ? "1" : "0.0005");
        const layer_doubles::Recording recording;
        EXPECT_EQ(wdlt::noticeChange(1, 2, {}), answers ? WDLT_OK : WDLT_E_NO_ANSWER);
        ASSERT_FALSE(recording.calls().empty());
        EXPECT_EQ(recording.calls().back(), "Sleep 100");
    }
}

} // namespace

// Privacy databases that are cut at every byte and have every bit flipped: each read gives its status and stays inside
// its bounds, and no write makes a damaged file worse.
#include "LogFile.h"
#include "PrivacyHelper.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace privacy_files;

constexpr std::size_t kSearchEnd = 64 + 280;
constexpr std::size_t kExclusions = kSearchEnd + 8;

class DamagedPrivacyDatabase : public PrivacyHelperTest {};

TEST_F(DamagedPrivacyDatabase, CutAnywhere) {
    const std::string whole = smallFile();
    for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) {
        SCOPED_TRACE(bytes);
        put(kDatabase, whole.substr(0, bytes));
        EXPECT_EQ(readSearch().status, bytes < kSearchEnd ? WDLT_E_GENERAL : WDLT_OK);
        EXPECT_EQ(readExclusions().status, WDLT_E_GENERAL);
        const State before = state();
        EXPECT_EQ(writeItems({item(1, "x")}), WDLT_E_GENERAL); // can't carry the exclusions over
        EXPECT_EQ(state(), before);
        const std::int32_t status = writeExclusions({exclusionItem(1, "x")});
        EXPECT_EQ(status, bytes < kSearchEnd ? WDLT_E_GENERAL : WDLT_OK);
        if (status != WDLT_OK)
            EXPECT_EQ(state(), before);
        else
            EXPECT_EQ(get(kDatabase).substr(0, kSearchEnd), whole.substr(0, kSearchEnd));
        if (HasFailure())
            return;
    }
}

TEST_F(DamagedPrivacyDatabase, FlippedAnywhere) {
    const std::string whole = smallFile();
    int deciphered = 0;
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (int bit = 0; bit < 8; ++bit) {
            SCOPED_TRACE(testing::Message() << "bit " << bit << " of byte " << at);
            std::string damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ 1 << bit);
            put(kDatabase, damaged);
            const auto search = readSearch();
            const auto exclusions = readExclusions();
            const bool isHead = at < 28 || (at >= 32 && at < 41);
            const bool isCount = at >= 56 && at < 60;
            if (isHead) {
                EXPECT_EQ(search.status, WDLT_E_GENERAL);
                EXPECT_EQ(exclusions.status, WDLT_E_GENERAL);
            } else if (!isCount && at >= kSearchEnd) {
                EXPECT_EQ(search.status, WDLT_OK);
            } else if (!isCount) {
                EXPECT_EQ(exclusions.status, WDLT_OK);
                // Where a record is damaged, another one isn't.
                if (search.status == WDLT_OK && at >= 64) {
                    const bool first = at < 64 + 140;
                    EXPECT_EQ(patternOf(search.items[first ? 1 : 0]), first ? "2" : "4711 0815");
                    ++deciphered;
                }
            }
            for (const PrivacyExclusionItem& read : exclusions.items)
                EXPECT_LT(strnlen(read.szText, sizeof read.szText), sizeof read.szText);
            // A write waits for the disk: once for each byte of a head, and for each block of a record.
            const bool isHeadByte = at < 64 || (at >= kSearchEnd && at < kExclusions);
            if (static_cast<int>(at % 8) != bit || (!isHeadByte && at % 16 != 0))
                continue;
            const bool isSize = at >= kSearchEnd + 4 && at < kExclusions;
            const State before = state();
            const std::int32_t status = writeItems({});
            if (status != WDLT_OK) {
                EXPECT_TRUE(isHead || isCount || isSize) << status;
                EXPECT_EQ(state().database, before.database);
            } else if (!isCount && !isSize) {
                EXPECT_EQ(get(kDatabase).substr(64), damaged.substr(kSearchEnd)) << "the exclusions changed";
            }
            if (HasFailure())
                return;
        }
    EXPECT_GT(deciphered, 0); // as a cipher block can't tell
}

} // namespace

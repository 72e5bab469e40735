// For lists whose read returns as many records as fit.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

// Calls `read(records, &count)`; `keyOf` gives a value that distinguishes the records, also from `untouched`.
template <class Read, class Record, class KeyOf, class Key>
void expectReadAsFarAsThereIsRoom(Read read, const Record& untouched, KeyOf keyOf, const std::vector<Key>& stored) {
    const auto whole = static_cast<std::int32_t>(stored.size());
    std::int32_t count = -1;
    EXPECT_EQ(read(nullptr, &count), 0);
    EXPECT_EQ(count, whole);
    for (const std::int32_t room : {-1, 0, 1, whole, whole + 2}) {
        std::vector<Record> records(stored.size() + 2, untouched);
        count = room;
        EXPECT_EQ(read(records.data(), &count), 0);
        EXPECT_EQ(count, std::min(room, whole));
        for (std::int32_t i = 0; i < whole + 2; ++i) {
            const auto at = static_cast<std::size_t>(i);
            EXPECT_EQ(Key(keyOf(records[at])), i < count ? stored[at] : Key(keyOf(untouched))) << i << " of " << room;
        }
    }
}

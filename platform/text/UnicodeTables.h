// What the layer knows of characters, made from ICU's data when it is built: ICU itself would take longer to load than
// most calls take, and a newer one that folds names otherwise would no longer find those that are stored.
#pragma once

#include "CodePages.h"

#include <iterator>
#include <span>

namespace wd {

// Simple upper case of each UTF-16 unit.
extern const std::array<char16_t, 0x10000> kUpperCase;

// A unit whose bytes aren't the first that mean it. 0: none that come back as it.
struct UsualBytes {
    char16_t unit;
    std::uint16_t code;
};

struct CodePageData {
    std::span<const char16_t> single; // of each byte
    std::span<const char16_t> pairs;  // by pairIndex; empty when the code page has no lead bytes
    std::span<const UsualBytes> usual;
};

// Of each of kCodePages.
extern const std::array<CodePageData, std::size(kCodePages)> kCodePageData;

} // namespace wd

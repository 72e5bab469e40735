// A charset library of the tests' own: notes its calls and refuses what it is told to. Its state is gone when it is
// unloaded.
#pragma once

#include <string>

struct CharsetDouble {
    bool refusesStart = false;
    bool refusesStop = false;
    int refusedLocator = 0; // the n-th one from now on
    bool refusesConversion = false;
    int locators = 0; // that live
    std::string calls;
};

// With this in the environment the library fails while it is being loaded.
inline constexpr const char* kRefuseLoading = "CHARSET_DOUBLE_REFUSES_LOADING";

using GetCharsetDouble = CharsetDouble* (*)();

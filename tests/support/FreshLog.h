// Lets a test that loads the library see only its own log, when several share a process. Declare it before the library.
#pragma once

#include "TestHome.h"

#include <filesystem>

// Clears the log while the library is loaded, for the next row of a table.
inline void clearLog() {
    std::error_code none;
    std::filesystem::resize_file(TestHome::instance().path() / "log" / "test.log", 0, none);
}

struct FreshLog {
    FreshLog() { std::filesystem::remove_all(TestHome::instance().path() / "log"); }
};

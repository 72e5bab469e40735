// Lets a test that loads the library see its own log alone, when several share a process. Stands before the library.
#pragma once

#include "TestHome.h"

#include <filesystem>

// For the next row of a table, while the library is there.
inline void clearLog() {
    std::error_code none;
    std::filesystem::resize_file(TestHome::instance().path() / "log" / "test.log", 0, none);
}

struct FreshLog {
    FreshLog() { std::filesystem::remove_all(TestHome::instance().path() / "log"); }
};

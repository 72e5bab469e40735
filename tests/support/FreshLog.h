// Lets a test that loads the library see its own log alone, when several share a process. Stands before the library.
#pragma once

#include "TestHome.h"

#include <filesystem>

struct FreshLog {
    FreshLog() { std::filesystem::remove_all(TestHome::instance().path() / "log"); }
};

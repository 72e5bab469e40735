// Scales the layer's wait times within a scope.
#pragma once

#include <platform/testing.h>

#include <cstdlib>
#include <string>

class TimeScale {
  public:
    explicit TimeScale(const char* scale) {
        if (const char* const before = std::getenv("WARDLET_TIME_SCALE"))
            m_before = before;
        set(scale);
    }
    ~TimeScale() { set(m_before.c_str()); }
    TimeScale(const TimeScale&) = delete;
    TimeScale& operator=(const TimeScale&) = delete;

  private:
    static void set(const char* scale) {
        setenv("WARDLET_TIME_SCALE", scale, 1);
        WdTestRereadEnvironment();
    }

    std::string m_before = "1";
};

// For tests on Windows: what the layer has for its own tests, as far as the system allows it from outside.
#pragma once

#include <platform/base.h>

#include <cstdlib>

// The time scale is read again: it shortens the waits of the library that is loaded (see Imports.h).
void WdTestRereadEnvironment();

// No call of the system can be made to fail.
inline BOOL WdTestFailCall(const char*, int, int) {
    return FALSE;
}

inline int setenv(const char* name, const char* value, int overwrite) {
    return overwrite == 0 && std::getenv(name) != nullptr ? 0 : _putenv_s(name, value);
}

// Functions of the system that a test puts in the place of those that a loaded library imports.
#pragma once

#include <platform/win32.h>

#include <initializer_list>

struct ImportedFunction {
    const char* name;
    void* replacement;
};

// Also shortens the library's waits by WARDLET_TIME_SCALE.
void replaceImports(HMODULE library, std::initializer_list<ImportedFunction> functions);

// Those of RegistryRefusal.h.
void replaceRegistry(HMODULE library);

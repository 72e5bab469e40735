#include "Imports.h"

#include <platform/testing.h>

#include <atomic>
#include <cstdlib>
#include <span>
#include <string_view>

namespace {

std::atomic<double> g_scale{1};

DWORD scaled(DWORD milliseconds) {
    return milliseconds == INFINITE ? milliseconds : static_cast<DWORD>(milliseconds * g_scale.load() + 0.5);
}

DWORD WINAPI waitForSingleObject(HANDLE object, DWORD milliseconds) {
    return WaitForSingleObject(object, scaled(milliseconds));
}
void WINAPI sleep(DWORD milliseconds) {
    Sleep(scaled(milliseconds));
}
// As if time went faster: what is left of a wait is scaled when it is waited for.
ULONGLONG WINAPI getTickCount64() {
    return static_cast<ULONGLONG>(static_cast<double>(GetTickCount64()) / g_scale.load());
}

template <class T>
T* at(HMODULE module, DWORD offset) {
    return reinterpret_cast<T*>(reinterpret_cast<BYTE*>(module) + offset);
}

void put(ULONGLONG& slot, const void* function) {
    DWORD before = 0;
    VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &before);
    slot = reinterpret_cast<ULONGLONG>(function);
    VirtualProtect(&slot, sizeof slot, before, &before);
}

void replaceIn(HMODULE library, const IMAGE_IMPORT_DESCRIPTOR& imported, std::span<const ImportedFunction> functions) {
    const auto* name = at<IMAGE_THUNK_DATA64>(library, imported.OriginalFirstThunk);
    auto* slot = at<IMAGE_THUNK_DATA64>(library, imported.FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
        const std::string_view called =
            at<IMAGE_IMPORT_BY_NAME>(library, static_cast<DWORD>(name->u1.AddressOfData))->Name;
        for (const ImportedFunction& function : functions)
            if (called == function.name)
                put(slot->u1.Function, function.replacement);
    }
}

void replaceAll(HMODULE library, std::span<const ImportedFunction> functions) {
    const auto* const headers = at<IMAGE_NT_HEADERS64>(library, at<IMAGE_DOS_HEADER>(library, 0)->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* imported = at<IMAGE_IMPORT_DESCRIPTOR>(library, directory.VirtualAddress); imported->Name != 0;
         ++imported)
        replaceIn(library, *imported, functions);
}

} // namespace

void WdTestRereadEnvironment() {
    const char* const scale = std::getenv("WARDLET_TIME_SCALE");
    g_scale = scale == nullptr ? 1 : std::atof(scale);
}

void replaceImports(HMODULE library, std::initializer_list<ImportedFunction> functions) {
    WdTestRereadEnvironment();
    const ImportedFunction waits[] = {
        {"WaitForSingleObject", reinterpret_cast<void*>(waitForSingleObject)},
        {"Sleep", reinterpret_cast<void*>(sleep)},
        {"GetTickCount64", reinterpret_cast<void*>(getTickCount64)},
    };
    replaceAll(library, waits);
    replaceAll(library, {functions.begin(), functions.size()});
}

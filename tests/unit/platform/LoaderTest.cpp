// Libraries loaded at run time: where they are searched for, and when their entry point is called.
#include "TestObject.h"

#include <platform/module.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

// The folder of everything that was built.
fs::path binFolder() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

int attachedCalls(HMODULE module) {
    const FARPROC address = GetProcAddress(module, "probeAttached");
    return address == nullptr ? -1 : reinterpret_cast<int (*)()>(address)();
}

std::string fileName(HMODULE module) {
    std::array<WCHAR, 1024> path{};
    const DWORD length = GetModuleFileNameW(module, path.data(), 1024);
    return fs::path(std::u16string(path.data(), length)).filename().string();
}

TEST(Loader, NamesAreLookedUpBesideTheLayerOrInTheFolderGiven) {
    const std::string home = TestHome::instance().path().string();
    fs::create_directories(home + "/drive_c/dir");
    fs::create_directories(home + "/drive_c/installed/wdltcfg");
    for (const char* const folder : {"dir", "installed/wdltcfg"})
        fs::copy_file(binFolder() / "libLoaderProbe.so", home + "/drive_c/" + folder + "/libLoaderProbe.so");
    for (const std::string& name : {"LoaderProbe.dll"s, "LoaderProbe"s, (binFolder() / "LoaderProbe.DLL").string(),
                                    "C:\\dir\\LoaderProbe.dll"s, "C:\\installed\\LoaderProbe.dll"s}) {
        const HMODULE module = LoadLibraryA(name.c_str());
        EXPECT_EQ(fileName(module), "libLoaderProbe.so") << name;
        EXPECT_TRUE(FreeLibrary(module));
    }
    // A library that exists but can't be loaded isn't skipped for another; file names are case-sensitive; and if a
    // folder is given, no other is searched.
    TestHome::instance().write("drive_c/dir/libBroken.so", "no library");
    EXPECT_EQ(errorOf(LoadLibraryA("C:\\dir\\Broken.dll")), ERROR_BAD_EXE_FORMAT);
    EXPECT_EQ(errorOf(LoadLibraryA(nullptr)), ERROR_MOD_NOT_FOUND);
    for (const std::string& name : {"LOADERPROBE.dll"s, home + "/LoaderProbe.dll", "None.dll"s, ""s})
        EXPECT_EQ(errorOf(LoadLibraryA(name.c_str())), ERROR_MOD_NOT_FOUND) << name;
}

TEST(Loader, TheEntryIsCalledOnceHoweverOftenALibraryIsLoaded) {
    // Kept open separately, so that the count can be read after the last FreeLibrary.
    void* const held = dlopen((binFolder() / "libLoaderProbe.so").c_str(), RTLD_NOW);
    const HMODULE module = LoadLibraryA("LoaderProbe.dll");
    ASSERT_EQ(module, held);
    EXPECT_EQ(LoadLibraryA("LoaderProbe.dll"), module);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(attachedCalls(module), 1);
    EXPECT_EQ(errorOf(GetProcAddress(module, "none")), ERROR_PROC_NOT_FOUND);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(attachedCalls(module), 0);
    EXPECT_EQ(errorOf(FreeLibrary(module)), ERROR_MOD_NOT_FOUND);
    dlclose(held);
    EXPECT_EQ(GetProcAddress(module, "probeAttached"), nullptr);
}

TEST(Loader, AnEntryThatRefusesUnloadsTheLibrary) {
    setenv("PROBE_REFUSES", "1", 1);
    EXPECT_EQ(errorOf(LoadLibraryA("LoaderProbe.dll")), ERROR_DLL_INIT_FAILED);
    EXPECT_EQ(dlopen((binFolder() / "libLoaderProbe.so").c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
    unsetenv("PROBE_REFUSES");
}

TEST(Loader, ModuleFileNames) {
    std::array<WCHAR, 1024> path{};
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), 1024);
    EXPECT_EQ(fs::path(std::u16string(path.data(), length)), fs::read_symlink("/proc/self/exe"));
    path.fill(u'?');
    EXPECT_EQ(GetModuleFileNameW(nullptr, path.data(), length), length);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(path[length - 1], u'\0');
    EXPECT_EQ(path[length], u'?');
}

} // namespace

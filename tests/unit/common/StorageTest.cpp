#include "WdCommon/Storage.h"
#include "TestHome.h"

#include <platform/win32.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace WdCommon;

// The code of the exception that `operation` throws; 0 when it throws none.
template <class Operation>
DWORD thrownBy(Operation&& operation) {
    try {
        operation();
        return 0;
    } catch (WdCommon::Exception::Base* base) {
        const std::unique_ptr<WdCommon::Exception::Base> owned(base);
        const auto* thrown = dynamic_cast<Storage::Exception*>(base);
        if (thrown == nullptr)
            return 0xFFFFFFFF;
        EXPECT_NE(thrown->sourcePath().find("Storage.cpp"), std::string::npos);
        EXPECT_GT(thrown->line(), 0u);
        return thrown->errorCode();
    }
}

const Storage::Key kIni(Storage::kIniFile, "", "test.ini");

TEST(IniStorage, ReadsWhatIsThereAndDefaults) {
    TestHome::instance().write("drive_c/dir/test.ini", "[S]\nNumber=0x10\nLong=" + std::string(300, 'x') + "\nLonger=" +
                                                           std::string(70000, 'y') + "\n255=" + std::string(255, 'z'));
    for (const char* folder : {"C:\\dir", "C:\\dir\\", "C:/dir/"}) {
        Storage::IniFile ini;
        EXPECT_TRUE(ini.OpenRead(Storage::Key(Storage::kIniFile, folder, "test.ini"), "S"));
        EXPECT_EQ(ini.GetNumber("Number", 1), 16u) << folder;
        EXPECT_EQ(ini.GetNumber("None", 7), 7u);
        std::string text;
        for (const auto& [name, expected] : {std::pair("Long", std::string(300, 'x')),
                                             {"Longer", std::string(70000, 'y')},
                                             {"255", std::string(255, 'z')},
                                             {"None", "the default"}}) {
            EXPECT_TRUE(ini.GetString(text, name, "the default"));
            EXPECT_EQ(text, expected);
        }
    }
    Storage::IniFile missing;
    missing.OpenRead(Storage::Key(Storage::kIniFile, "C:\\none", "test.ini"), "S");
    EXPECT_EQ(missing.GetNumber("Number", 7), 7u);
}

TEST(IniStorage, Writes) {
    Storage::IniFile ini;
    ini.OpenCreate(kIni, "S");
    EXPECT_TRUE(ini.SetString("Text", "a text"));
    EXPECT_TRUE(ini.SetNumber("Number", 0xFFFFFFFF));
    EXPECT_TRUE(ini.Close(1));
    EXPECT_EQ(TestHome::instance().read("test.ini"), "[S]\nText=a text\nNumber=4294967295\n");
    ini.OpenRead(kIni, "S");
    EXPECT_EQ(ini.GetNumber("Number", 0), 0xFFFFFFFF);
    EXPECT_EQ(thrownBy([&] { ini.SetString("Text", "two\nlines"); }), ERROR_INVALID_PARAMETER);
}

const Storage::Key kKey(Storage::kRegistry, HKEY_LOCAL_MACHINE, "SOFTWARE\\Test");

TEST(RegistryStorage, AllKindsOfValuesComeBack) {
    const std::vector<BYTE> bytes{1, 0, 255};
    {
        Storage::Registry made;
        ASSERT_TRUE(made.OpenCreate(kKey, "Section"));
        EXPECT_TRUE(made.SetNumber("Number", 0x12345678) && made.SetString("Text", std::string(300, 't').c_str()) &&
                    made.SetString("Empty", "") && made.SetBinary("Binary", bytes) && made.SetBinary("Nothing", {}) &&
                    made.Close(1));
    }
    Storage::Registry read;
    ASSERT_TRUE(read.OpenRead(kKey, "Section"));
    EXPECT_EQ(read.GetNumber("Number", 0), 0x12345678u);
    for (const auto& [name, expected] : {std::pair("Text", std::string(300, 't')), {"Empty", ""}}) {
        std::string text;
        EXPECT_TRUE(read.GetString(text, name, "default"));
        EXPECT_EQ(text, expected);
    }
    for (const auto& [name, expected] : {std::pair("Binary", bytes), {"Nothing", {}}}) {
        std::vector<BYTE> data;
        EXPECT_TRUE(read.GetBinary(name, data));
        EXPECT_EQ(data, expected);
    }
    std::vector<std::string> names;
    EXPECT_TRUE(read.EnumValues(names));
    EXPECT_EQ(names.size(), 5u);
    EXPECT_TRUE(read.OpenEnum(Storage::Key(Storage::kRegistryToo, HKEY_LOCAL_MACHINE, "SOFTWARE\\Test\\"), ""));
    EXPECT_TRUE(read.EnumSections(names));
    EXPECT_EQ(names, std::vector<std::string>{"Section"});
}

TEST(RegistryStorage, Failures) {
    Storage::Registry storage;
    storage.OpenCreate(kKey, "Section");
    storage.SetNumber("Number", 5);
    storage.SetString("Text", "abc"); // as long as a number
    std::string text = "before";
    const struct {
        std::function<void()> call;
        DWORD error;
    } cases[] = {
        {[&] { storage.GetNumber("None", 1); }, ERROR_FILE_NOT_FOUND},
        {[&] { storage.GetNumber("Text", 1); }, ERROR_INVALID_DATA},
        {[&] { storage.GetString(text, "Number", "default"); }, ERROR_INVALID_DATA},
        {[&] { storage.OpenRead(kKey, "Section"), storage.SetNumber("Number", 6); }, ERROR_ACCESS_DENIED},
        {[&] { storage.OpenWrite(kKey, "Section"), storage.SetNumber("Number", 6); }, ERROR_SUCCESS},
        {[&] { storage.GetNumber("Number", 1); }, ERROR_ACCESS_DENIED},
        {[&] { storage.OpenRead(kKey, "None"); }, ERROR_FILE_NOT_FOUND},
        {[&] { storage.GetNumber("Number", 1); }, ERROR_INVALID_HANDLE},
    };
    for (const auto& c : cases)
        EXPECT_EQ(thrownBy(c.call), c.error) << &c - cases;
    EXPECT_EQ(text, "default");
    DWORD error = 0;
    EXPECT_EQ(storage.TryGetNumber("Number", 7, error), 7u); // the form that throws nothing
    EXPECT_EQ(error, ERROR_INVALID_HANDLE);
}

} // namespace

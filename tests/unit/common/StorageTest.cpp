#include "WdCommon/Storage.h"
#include "TestHome.h"

#include <platform/win32.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace WdCommon;

TEST(IniStorage, ReadsWhatIsThereAndDefaults) {
    TestHome::instance().write("drive_c/dir/test.ini", "[S]\nNumber=0x10\nLong=" + std::string(300, 'x') + "\nLonger=" +
                                                           std::string(70000, 'y') + "\n255=" + std::string(255, 'z'));
    for (const char* folder : {"C:\\dir", "C:/dir/"}) {
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
        EXPECT_TRUE(ini.Close(1)) << "a flush is no failure";
    }
    Storage::IniFile missing;
    missing.OpenRead(Storage::Key(Storage::kIniFile, "C:\\none", "test.ini"), "S");
    EXPECT_EQ(missing.GetNumber("Number", 7), 7u);
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

} // namespace

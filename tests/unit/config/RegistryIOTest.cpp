// The store on the registry: paths of addresses, statuses, and what each operation leaves behind.
#include "RegistryIO.h"
#include "WdchHelper.h"

#include "LogFile.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr DWORD kPop3System = WDLT_PROTOCOL_SYSTEM_POP3;
const std::string kBase = "SOFTWARE\\Halvermoor\\PLK\\Wardlet";

class RegistryIO : public testing::Test {
  protected:
    void SetUp() override {
        tree::clear();
        tree::setNumber("ProtocolHandler\\AMail", "Type", 1);
        tree::setText("ProtocolHandler\\AMail", "Scan", "MailIn");
        tree::setNumber("ProtocolHandler\\Broken", "Enable", 1); // no Type: the walk goes on
        tree::setNumber("ProtocolHandler\\Web", "Type", 3);
        tree::setText("ProtocolHandler\\Web", "Scan", "Web");
        tree::setNumber("ProtocolHandler\\Zweb", "Type", 3); // a second one: the first in order serves
    }

    std::int32_t read(DWORD protocol, DWORD scan, DWORD inputNumber, const char* name = "Value") {
        DWORD value = 0;
        DWORD size = sizeof value;
        return io.ReadValue(protocol, scan, inputNumber, "", name, &value, &size, false);
    }

    CRegistryIO io;
};

TEST_F(RegistryIO, EveryAddressHasItsPath) {
    const struct {
        DWORD protocol, scan, input;
        const char* section;
        std::string path;
    } cases[] = {
        {10000, 0, 0, "", kBase},
        {10000, 0, 7, "PluginManager", kBase + "\\PluginManager"},
        {10001, 0, 0, "", kBase + "\\ProtocolHandler\\AMail"},
        {10003, 0, 0, "Redirect\\S", kBase + "\\ProtocolHandler\\Web\\Redirect\\S"},
        {1, 0, 0, "", kBase + "\\ProtocolHandler\\AMail\\config"},
        {10000, 1, 0, "", kBase + "\\Scan\\Common\\Virus"},
        {0, 1, 1, "", kBase + "\\Scan\\Common\\HttpFileScan\\config"},
        {0, 1, 9, "", kBase + "\\Scan\\Common\\Virus\\config"},
        {10003, 0x20000, 2, "", kBase + "\\Scan\\Web\\HttpsFilter"},
        {10003, 0x20000, 1, "", kBase + "\\Scan\\Web\\HttpManager"},
        {10001, 0x80000000, 0, "", kBase + "\\Scan\\MailIn\\TestManager"},
        {3, 32, 0, "", kBase + "\\Scan\\Web\\HTTPCleaner\\config"},
        {10005, 0, 0, "", ""},
        {5, 0, 0, "", "\\config"},
        {10001, 3, 0, "", ""},
        {2, 1, 0, "", "\\config"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CRegistryIO().ComposeSection(c.protocol, c.scan, c.input, c.section), c.path)
            << c.protocol << ' ' << c.scan << ' ' << c.input;
        // The same object again: what it has found of one handler must not answer for another.
        EXPECT_EQ(io.ComposeSection(c.protocol, c.scan, c.input, c.section), c.path);
    }
}

TEST_F(RegistryIO, AnAddressWithoutAPathIsRefused) {
    EXPECT_EQ(read(10005, 0, 0), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(5, 0, 0), WDLT_E_REGISTRY); // "\config", which the registry refuses
    EXPECT_EQ(io.WriteValue(10001, 3, 0, "", "Value", REG_DWORD, "\1\0\0", 4, false), WDLT_E_GENERAL);
    EXPECT_EQ(io.DeleteSubSection(10005, 0, 0, "", "x"), WDLT_E_GENERAL);
    EXPECT_EQ(io.DeleteValue(10005, 0, 0, "", "x"), WDLT_E_GENERAL);
    EXPECT_EQ(io.WriteValue(5, 0, 0, "", "Value", REG_DWORD, "\1\0\0", 4, false), WDLT_E_REGISTRY);
    EXPECT_FALSE(tree::keyExists("config"));
}

TEST_F(RegistryIO, AFolderNameThatIsTooLongTakesItsScanItemsAway) {
    const struct {
        const char* folder;
        std::int32_t status;
    } cases[] = {
        {"TenLetters", WDLT_E_REGISTRY}, // has a path, whose key isn't there
        {"ElevenChars", WDLT_E_INVALID_ARGUMENT},
        {"", WDLT_E_REGISTRY}, // an empty component
    };
    for (const auto& c : cases) {
        tree::setText("ProtocolHandler\\AMail", "Scan", c.folder);
        EXPECT_EQ(CRegistryIO().ReadValue(10001, 1, 0, "", "Enable", nullptr, std::array<DWORD, 1>{}.data(), false),
                  c.status)
            << c.folder;
    }
    tree::set("ProtocolHandler\\AMail", "Scan", REG_SZ, "ElevenChars", 11); // fits, but has no terminator
    EXPECT_EQ(read(10001, 1, 0), WDLT_E_INVALID_ARGUMENT);
}

TEST_F(RegistryIO, AMissingKeyAndAMissingValueDiffer) {
    const LogFile log;
    EXPECT_EQ(read(10000, 1, 0), WDLT_E_REGISTRY);
    EXPECT_TRUE(log.contains("RegOpenKeyEx error (2): section = " + kBase + "\\Scan\\Common\\Virus"));
    EXPECT_EQ(read(kPop3System, 0, 0), WDLT_E_NOT_FOUND);
}

TEST_F(RegistryIO, AValueOfAnotherTypeIsBytes) {
    tree::setText("", "Value", "ab");
    DWORD value = 0xFFFFFFFFu;
    DWORD size = sizeof value;
    EXPECT_EQ(io.ReadValue(10000, 0, 0, "", "value", &value, &size, false), WDLT_OK); // case doesn't matter
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(std::memcmp(&value, "ab", 3), 0);

    tree::setText("", "Value", "four or more");
    size = sizeof value;
    EXPECT_EQ(io.ReadValue(10000, 0, 0, "", "Value", &value, &size, false), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 13u);
    EXPECT_EQ(std::memcmp(&value, "ab", 3), 0); // left alone
}

TEST_F(RegistryIO, AnEmptyNameReadsTheKeysName) {
    std::array<char, 8> name{};
    name.fill('x');
    DWORD size = 6;
    EXPECT_EQ(io.ReadValue(kPop3System, 0, 0, "", "", name.data(), &size, false), WDLT_OK);
    EXPECT_STREQ(name.data(), "AMail");
    EXPECT_EQ(size, 6u);
    EXPECT_EQ(name[6], 'x');

    size = 5;
    EXPECT_EQ(io.ReadValue(kPop3System, 0, 0, "", "", name.data(), &size, false), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 6u);

    // Wide: the size still has to hold the narrow name; what doesn't fit in characters is cut.
    std::array<WCHAR, 4> wide{};
    size = sizeof wide;
    EXPECT_EQ(io.ReadValue(kPop3System, 0, 0, "", "", wide.data(), &size, true), WDLT_OK);
    EXPECT_EQ(std::u16string(wide.data()), WTEXT("AMa"));
}

TEST_F(RegistryIO, NamesComeInTheRegistrysOrder) {
    std::vector<std::string> names{"kept"};
    EXPECT_EQ(io.EnumSubSections(10000, 0, 0, "ProtocolHandler", names), WDLT_OK);
    EXPECT_THAT(names, ElementsAre("kept", "AMail", "Broken", "Web", "Zweb"));

    const LogFile log;
    EXPECT_EQ(io.EnumSubSections(kPop3System, 0, 0, "Redirect", names), WDLT_E_REGISTRY);
    EXPECT_TRUE(log.contains("RegOpenKeyEx error (2): section = " + kBase + "\\ProtocolHandler\\AMail\\Redirect"));
}

TEST_F(RegistryIO, AWriteCreatesItsKeysAndComposesItsPathAnew) {
    const DWORD one = 1;
    EXPECT_EQ(io.WriteValue(10001, 1, 0, "", "Enable", REG_DWORD, &one, 4, false), WDLT_OK);
    EXPECT_EQ(tree::number("Scan\\MailIn\\Virus", "Enable"), 1u);

    // The handler changes its type under the same object: the next write finds no handler any more.
    const DWORD other = 9;
    EXPECT_EQ(io.WriteValue(kPop3System, 0, 0, "", "Type", REG_DWORD, &other, 4, false), WDLT_OK);
    EXPECT_EQ(io.WriteValue(kPop3System, 0, 0, "", "Enable", REG_DWORD, &one, 4, false), WDLT_E_GENERAL);
    EXPECT_FALSE(tree::number("ProtocolHandler\\AMail", "Enable"));
}

TEST_F(RegistryIO, WideValuesAreUtf16BothWays) {
    const std::u16string image = WTEXT("C:\\Prog\u00E4\\x.exe");
    const auto bytes = static_cast<DWORD>((image.size() + 1) * sizeof(WCHAR));
    EXPECT_EQ(io.WriteValue(kPop3System, 0, 0, "Redirect\\S1", "process", REG_SZ, image.c_str(), bytes, true), WDLT_OK);
    std::array<WCHAR, 300> back{};
    DWORD size = sizeof back;
    EXPECT_EQ(io.ReadValue(kPop3System, 0, 0, "Redirect\\S1", "Process", back.data(), &size, true), WDLT_OK);
    EXPECT_EQ(size, bytes);
    EXPECT_EQ(std::u16string(back.data()), image);
    EXPECT_EQ(tree::storedText("ProtocolHandler\\AMail\\Redirect\\S1", "process"),
              std::string("C:\\Prog\u00E4\\x.exe") + '\0');
}

TEST_F(RegistryIO, DeletionTellsWhatWasntThere) {
    tree::setNumber("ProtocolHandler\\AMail\\Redirect\\S1", "port", 1);
    const LogFile log;
    EXPECT_EQ(io.DeleteValue(kPop3System, 0, 0, "Redirect\\S1", "port"), WDLT_OK);
    EXPECT_EQ(io.DeleteValue(kPop3System, 0, 0, "Redirect\\S1", "port"), WDLT_E_NOT_FOUND);
    EXPECT_EQ(io.DeleteSubSection(kPop3System, 0, 0, "", "Redirect"), WDLT_E_REGISTRY); // it has a subkey
    EXPECT_EQ(io.DeleteSubSection(kPop3System, 0, 0, "Redirect", "s1"), WDLT_OK);
    EXPECT_EQ(io.DeleteSubSection(kPop3System, 0, 0, "Redirect", "s1"), WDLT_E_NOT_FOUND);
    EXPECT_EQ(io.DeleteSubSection(kPop3System, 0, 0, "Elsewhere", "s1"), WDLT_E_REGISTRY);
    EXPECT_TRUE(log.contains("DeleteValue : section = " + kBase + "\\ProtocolHandler\\AMail\\Redirect\\S1"));
    EXPECT_TRUE(log.contains("DeleteSubSection : section = " + kBase + "\\ProtocolHandler\\AMail\\Redirect"));
}

TEST_F(RegistryIO, APathIsCutAtItsLastSeparator) {
    const struct {
        std::string path, name;
    } cases[] = {
        {"plain", "plain"},
        {"", ""},
        {"a\\b", "b"},
        {"a/b\\c/d", "d"},
        {"ends\\", ""},
        {"C:x", "C:x"},
        {"\\\u00E4\\\u00F6", "\u00F6"},
    };
    for (const auto& c : cases) {
        std::array<char, 32> field{};
        c.path.copy(field.data(), field.size());
        WdchHelper::StripPath(field.data(), field.size());
        EXPECT_EQ(std::string(field.data()), c.name) << c.path;
        EXPECT_EQ(std::string(field.data(), field.size()).find_first_not_of('\0', c.name.size()), std::string::npos);
    }
    std::array<char, 4> full{'a', '\\', 'b', 'c'}; // no terminator: nothing behind the field is looked at
    WdchHelper::StripPath(full.data(), full.size());
    EXPECT_EQ(std::memcmp(full.data(), "bc\0\0", 4), 0);
}

} // namespace

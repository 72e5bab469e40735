// The store on the registry: the path of each address, and what no record asks of it.
#include "RegistryIO.h"

#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kBase = "SOFTWARE\\Halvermoor\\PLK\\Wardlet";

TEST(RegistryIO, EveryAddressHasItsPath) {
    tree::clear();
    tree::setNumber("ProtocolHandler\\AMail", "Type", 1);
    tree::setText("ProtocolHandler\\AMail", "Scan", "MailIn");
    tree::setNumber("ProtocolHandler\\Broken", "Enable", 1); // no Type: the walk goes on
    tree::setNumber("ProtocolHandler\\Web", "Type", 3);
    tree::setText("ProtocolHandler\\Web", "Scan", "Web");
    tree::setNumber("ProtocolHandler\\Zweb", "Type", 3); // a second one: the first in order serves
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
        {5, 0, 0, "", "\\config"}, // which the registry refuses
        {10001, 3, 0, "", ""},
        {2, 1, 0, "", "\\config"},
    };
    CRegistryIO io;
    for (const auto& c : cases) {
        EXPECT_EQ(CRegistryIO().ComposeSection(c.protocol, c.scan, c.input, c.section), c.path)
            << c.protocol << ' ' << c.scan << ' ' << c.input;
        // The same object again: what it has found of one handler must not answer for another.
        EXPECT_EQ(io.ComposeSection(c.protocol, c.scan, c.input, c.section), c.path);
    }
    EXPECT_EQ(io.DeleteValue(10005, 0, 0, "", "x"), WDLT_E_GENERAL);
    EXPECT_EQ(io.WriteValue(5, 0, 0, "", "Value", REG_DWORD, "\1\0\0", 4, false), WDLT_E_REGISTRY);
    EXPECT_FALSE(tree::keyExists("config"));
}

} // namespace

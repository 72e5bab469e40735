// The record of a protocol handler: its values and the scan items that are on; and what happens when its key gets
// another type in the middle of a write.
#include "Handlers.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using testing::IsEmpty;

RecordCase handler() {
#define HANDLER(member) WDLT_FIELD(WdchSystemProtocolHandler, member)
    return {
        .name = "Handler",
        .protocol = kWeb,
        .key = kWebKey,
        .size = kHead,
        .fields = {textCase("Filename", HANDLER(filename)).named("filename").whenUnreadable(quietlyReadsAs("")),
                   numberCase("Type", HANDLER(type)).named("type").fixedTo(3u),
                   numberCase("Enable", HANDLER(enable)).named("enable").whenUnreadable(quietlyReadsAs(0u)),
                   textCase("Scan", HANDLER(scan)).named("scan").whenUnreadable(quietlyReadsAs(""))},
        .unwrittenLine = "!!! <WdltCfg> WriteConfig WdchSystemProtocolHandler::{field} fails.",
        .writeCode = WDLT_E_GENERAL,
        .rest = [](BYTE* record) { std::strcpy(reinterpret_cast<char*>(record), "Web"); },
        .unseen = {{HANDLER(redirects)}},
    };
#undef HANDLER
}

TEST_F(Handlers, EachFieldOnItsWay) {
    FieldRunner(library, handler()).tryAll();
}

TEST_F(Handlers, TheFirstOfItsTypeServesAndHasANameOfThirtyBytes) {
    const struct {
        std::string key;
        std::string name;
    } cases[] = {{std::string(31, 'C'), ""}, {std::string(30, 'B'), std::string(30, 'B')}, {"A web", "A web"}};
    for (const auto& c : cases) {
        tree::setNumber("ProtocolHandler\\" + c.key, "Type", 3);
        WdchSystemProtocolHandler head = readHandler().head;
        EXPECT_EQ(head.name, c.name);
        head.enable = 8;
        EXPECT_EQ(write(head), WDLT_OK);
        EXPECT_EQ(tree::number("ProtocolHandler\\" + c.key, "Enable"), 8u);
    }
    EXPECT_FALSE(tree::get(kWebKey, "Enable"));
}

TEST_F(Handlers, TheScanItemsThatAreOn) {
    const struct {
        const char* item;
        DWORD enable;
        std::uint32_t mask;
        std::uint32_t protocol = kWeb;
        const char* folder = "Web";
    } cases[] = {
        {"Virus", 1, 1},
        {"Virus", 2, 0},               // only 1 means on
        {"HttpFileScan", 2, 1},        // here any nonzero number does
        {"HttpFileScan", 1, 0, 10001}, // only HTTP has this item
        {"Virus", 1, 1, 10001, "In"},
        {"HttpManager", 1, 0x20000},
        {"HttpsFilter", 1, 0}, // items with an input aren't counted
        {"TestManager", 1, 0x80000000},
        {"Unheard", 1, 0},
    };
    for (const auto& c : cases) {
        layDownHandlers();
        tree::setNumber(std::string("Scan\\") + c.folder + "\\" + c.item, "Enable", c.enable);
        EXPECT_EQ(readHandler(c.protocol).head.dependentScanEngine, c.mask) << c.item << ' ' << c.enable;
    }
    for (const char* const item : {"Virus", "SAL"})
        tree::setNumber(std::string("Scan\\Web\\") + item, "Enable", 1);
    EXPECT_EQ(readHandler().head.dependentScanEngine, 0x201u);
    EXPECT_TRUE(library.logged("(0) : protocol = 10003,  type = 00000200,  enable = 1")); // one line per bit
}

TEST_F(Handlers, OtherSizesAndTypesAreRefusedWithALine) {
    const std::string sizeError = "WriteConfig WdchSystemProtocolHandler size error : (";
    const struct {
        std::uint64_t configType, size;
        std::int32_t status;
        std::string line; // empty: the write succeeds
        bool withData = true;
    } cases[] = {
        {0, kHead + 2 * kEntry, 0, ""}, // the redirects after the head are ignored
        {0, kHead + 1, -1, sizeError + "1 / 328 / 768)"},
        {0, 72, -1, sizeError + "-256 / 328 / 768)"}, // minus the head it wraps to a multiple of the entry's size
        {0, kHead, -3, "data is NULL", false},
        {3, kHead, -3, "WriteConfig config type (3)"},
        {1, 767, -1, "[CSystemProtocolCfg::AddRedirect] Invalid buffer size (767)"},
        {1, kEntry, -3, "[CSystemProtocolCfg::AddRedirect] sessionType not specified", false},
        {2, 0, -1, "DelRedirect Invalid buffer size (0)"},
        {2, kEntry, -3, "DelRedirect sessionType not specified", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        layDownHandlers();
        WdchSystemProtocolHandler head = readHandler().head;
        head.enable = 8;
        std::vector<BYTE> buffer(kHead + 2 * kEntry, 0xEE);
        std::memcpy(buffer.data(), &head, kHead);
        const FreshLog fresh;
        EXPECT_EQ(
            WDLT_CALL(library, WdltWriteConfig)(kWeb, 0, c.configType, c.withData ? buffer.data() : nullptr, c.size),
            c.status);
        EXPECT_EQ(library.logged("!!! <WdltCfg> " + (c.line.empty() ? "WriteConfig" : c.line)), c.status != WDLT_OK);
        EXPECT_EQ(tree::get(kWebKey, "Enable").has_value(), c.status == WDLT_OK);
        EXPECT_FALSE(tree::keyExists(kWebKey + "\\Redirect"));
    }
}

// What another thread writes to the caller's record meanwhile is kept.
TEST_F(Handlers, AWriteHandsBackNothingThatItDidNotChange) {
    WdchSystemProtocolHandler head = readHandler().head;
    const AfterEachRead others([&](const std::string& name) {
        if (name == "Type")
            head.filename[0] = 'x';
    });
    EXPECT_EQ(write(head), WDLT_OK);
    EXPECT_STREQ(head.filename, "x");
}

// The second value changes the type, so that the address no longer finds the key and the third value can't be stored.
TEST_F(Handlers, AWriteThatChangesTheTypeEndsThere) {
    ChangeListener service;
    WdchSystemProtocolHandler head = readHandler().head;
    std::strcpy(head.filename, "new.dll");
    head.type = 9;
    EXPECT_EQ(write(head), WDLT_E_GENERAL);
    EXPECT_TRUE(library.logged("!!! <WdltCfg> WriteConfig WdchSystemProtocolHandler::enable fails."));
    EXPECT_THAT(service.heard(), IsEmpty());
    EXPECT_EQ(tree::number(kWebKey, "Type"), 9u);
    EXPECT_FALSE(tree::get(kWebKey, "Enable"));
    EXPECT_STREQ(readHandler(10009).head.filename, "new.dll");
}

} // namespace

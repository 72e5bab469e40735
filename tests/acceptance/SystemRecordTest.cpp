// The system record through the exports: each field, and the list of handlers. Also refusals, and unloading the
// library.
#include "FieldRecords.h"

#include <gmock/gmock.h>

#include <span>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

RecordCase systemRecord() {
#define SYSTEM(member) WDLT_FIELD(WdchSystemData, member)
    const auto folder = [](const char* value, const char* field, std::size_t offset, std::size_t size) {
        const std::string last(258, 'p'); // leaves room for a backslash
        const std::string longest(259, 'p');
        return textCase(value, offset, size)
            .with("C:\\One\\", "D:\\Two\\")
            .named(field)
            .whenUnreadable(quietlyReadsAs(""))
            .reads({{"", ""}, {"C:\\F", "C:\\F\\"}, {last, last + "\\"}, {longest, longest}})
            .writes({{"C:\\F", "C:\\F"}, {longest, longest}});
    };
    return {
        .name = "System",
        .protocol = WDLT_PROTOCOL_SYSTEM,
        .key = "",
        .size = sizeof(WdchSystemData),
        .fields =
            {
                numberCase("ProxyPort", SYSTEM(proxyPort))
                    .named("proxyPort")
                    .whenUnreadable(quietlyReadsAs(6999u))
                    .reads({{0xFFFFu, 0xFFFFu}, {70000u, 4464u}}), // the low 16 bits
                textCase("InstallPath", SYSTEM(installPath)).named("installPath").whenUnreadable(quietlyReadsAs("")),
                folder("TempPath", "tempPath", SYSTEM(tempPath)),
                folder("LogPath", "logPath", SYSTEM(logPath)),
                numberCase("DisableBm", SYSTEM(bmFlag))
                    .named("bmFlag")
                    .with(1u, 0u)
                    .storedAs(0u, 1u)
                    .whenUnreadable(quietlyReadsAs(1u))
                    .reads({{5u, 0u}})
                    .writes({{7u, 0u}}),
                numberCase("DefRedirectFlag", SYSTEM(defRedirectFlag))
                    .whenUnreadable(quietlyReadsAs(0u))
                    .neverWritten(),
                numberCase("TcpAutoTuningLevel", SYSTEM(tcpAutoTuningLevel))
                    .whenUnreadable(quietlyReadsAs(2u))
                    .reads({{0u, 0u}})
                    .neverWritten(),
            },
        .unwrittenLine = "!!! <WdltCfg> WriteConfig WdchSystemData::{field} fails.",
        .writeCode = WDLT_E_GENERAL,
    };
#undef SYSTEM
}

class SystemRecord : public FieldRecord {
  protected:
    SystemRecord() { tree::clear(); }

    std::vector<DWORD> handlers() const {
        WdchSystemData record{};
        EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, 0, record), WDLT_OK);
        EXPECT_EQ(record.defRedirectFlag, 0u); // the field after the array
        const auto types = std::span(record.handlerTypes).first(record.handlerCount);
        return {types.begin(), types.end()};
    }
    static void addHandler(const std::string& name, DWORD type, DWORD enable) {
        tree::setNumber("ProtocolHandler\\" + name, "Type", type);
        tree::setNumber("ProtocolHandler\\" + name, "Enable", enable);
    }
};

TEST_F(SystemRecord, EachFieldOnItsWay) {
    FieldRunner(library, systemRecord()).tryAll();
}

TEST_F(SystemRecord, HandlersThatAreOnAreListedInOrder) {
    addHandler("SMTP", 2, 1);
    addHandler("HTTP", 3, 1);
    addHandler("Odd", 5, 2); // only 1 means on
    addHandler("Last", 16, 1);
    addHandler("Beyond", 17, 1);
    addHandler("Zero", 0, 1);
    tree::setNumber("ProtocolHandler\\NoType", "Enable", 1);
    tree::setNumber("ProtocolHandler\\NoEnable", "Type", 6);
    EXPECT_THAT(handlers(), ElementsAre(3, 16, 2)); // HTTP, Last, SMTP
    tree::clear();
    for (DWORD i = 0; i < 18; ++i)
        addHandler(std::string("H") + static_cast<char>('a' + i), i % 16 + 1, 1);
    EXPECT_EQ(handlers().size(), 16u);
    EXPECT_EQ(handlers().back(), 16u);
}

TEST_F(SystemRecord, WhatMustBeRefusedIs) {
    char data[16] = {};
    EXPECT_EQ(WDLT_CALL(library, WdltWriteConfigEx)(0, 1, 2, 0, data, sizeof data), WDLT_E_GENERAL);
    EXPECT_EQ(WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SMTP, 0, 0, data, sizeof data), WDLT_E_REGISTRY);
    EXPECT_TRUE(library.logged("!!! <WdltCfg> No config helper [protocol=0, scan=1]"));
    EXPECT_FALSE(tree::keyExists("")); // no key was created for the missing mail handler
}

TEST_F(SystemRecord, TheLibraryCanBeUnloadedAndLoadedAgain) {
    WdchSystemData record;
    std::uint64_t size = sizeof record;
    for (int round = 0; round < 4; ++round) {
        const LoadedLibrary again(LoadedLibrary::withLog);
        EXPECT_EQ(WDLT_CALL(again, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, &size), WDLT_OK);
        if (round == 2)
            library.unload(); // the next round's is the only one loaded
    }
}

} // namespace

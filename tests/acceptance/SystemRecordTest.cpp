// The service's record through the exports of the library as a caller loads it: settings in, log lines out.
#include "LoadedLibrary.h"
#include "TestHome.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

class SystemRecord : public testing::Test {
  protected:
    void SetUp() override { tree::clear(); }

    LoadedLibrary library{LoadedLibrary::withLog};
};

TEST_F(SystemRecord, IsReadInTwoStepsAndWrittenBack) {
    std::uint64_t size = 0;
    EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, nullptr, &size),
              WDLT_E_BUFFER_SIZE);
    ASSERT_EQ(size, sizeof(WdchSystemData));
    WdchSystemData record;
    ASSERT_EQ(WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &record, &size), WDLT_OK);
    EXPECT_EQ(record.proxyPort, 6999);

    record.proxyPort = 8081;
    ASSERT_EQ(WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &record, sizeof record),
              WDLT_OK);
    EXPECT_EQ(tree::number("", "ProxyPort"), 8081u);

    WdchSystemData again;
    ASSERT_EQ(WDLT_CALL(library, WdltReadConfigEx)(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, 0, &again, &size), WDLT_OK);
    EXPECT_EQ(std::memcmp(&again, &record, sizeof record), 0);
}

TEST_F(SystemRecord, EverySizeFromNothingToOneTooMany) {
    std::vector<char> buffer(sizeof(WdchSystemData) + 1, 'x');
    for (std::uint64_t given = 0; given <= sizeof(WdchSystemData) + 1; ++given) {
        if (given == sizeof(WdchSystemData))
            continue;
        std::uint64_t size = given;
        ASSERT_EQ(WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, buffer.data(), &size),
                  WDLT_E_BUFFER_SIZE);
        ASSERT_EQ(size, sizeof(WdchSystemData));
        ASSERT_EQ(WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, buffer.data(), given),
                  WDLT_E_GENERAL);
    }
    EXPECT_TRUE(std::ranges::all_of(buffer, [](char c) { return c == 'x'; }));
    EXPECT_FALSE(tree::keyExists(""));
}

TEST_F(SystemRecord, WhatMustBeRefusedIs) {
    std::uint64_t size = 0;
    char data[16] = {};
    EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, data, nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(4, 0, 0, data, &size), WDLT_E_GENERAL);
    EXPECT_EQ(WDLT_CALL(library, WdltWriteConfigEx)(0, 1, 2, 0, data, sizeof data), WDLT_E_GENERAL);
    EXPECT_EQ(WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, nullptr, sizeof(WdchSystemData)),
              WDLT_E_INVALID_ARGUMENT);
    EXPECT_TRUE(library.logged("!!! <WdltCfg> size is NULL"));
    EXPECT_TRUE(library.logged("!!! <WdltCfg> No config helper [protocol=4, scan=00000000]"));
    EXPECT_TRUE(library.logged("!!! <WdltCfg> No config helper [protocol=0, scan=1]"));
    EXPECT_FALSE(tree::keyExists(""));
}

TEST_F(SystemRecord, ManyThreadsSeeWholeValues) {
    // Each writer's directories carry its own letter, so a mixture would show.
    constexpr int kWriters = 4;
    std::vector<std::jthread> threads;
    for (int writer = 0; writer < kWriters; ++writer)
        threads.emplace_back([this, writer] {
            WdchSystemData record{};
            std::fill_n(record.installPath, 200 + writer, static_cast<char>('a' + writer));
            for (int round = 0; round < 50; ++round)
                ASSERT_EQ(WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, sizeof record),
                          WDLT_OK);
        });
    for (int round = 0; round < 200; ++round) {
        WdchSystemData record;
        std::uint64_t size = sizeof record;
        ASSERT_EQ(WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, &size), WDLT_OK);
        const std::string path = record.installPath;
        if (path.empty())
            continue;
        EXPECT_EQ(path, std::string(200 + static_cast<std::size_t>(path[0] - 'a'), path[0]));
    }
}

TEST_F(SystemRecord, TheLibraryCanBeUnloadedAndLoadedAgain) {
    WdchSystemData record;
    std::uint64_t size = sizeof record;
    for (int round = 0; round < 3; ++round) {
        LoadedLibrary again(LoadedLibrary::withLog);
        EXPECT_EQ(WDLT_CALL(again, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, &size), WDLT_OK);
    }
    library.unload();
    const LoadedLibrary fresh(LoadedLibrary::withLog);
    EXPECT_EQ(WDLT_CALL(fresh, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, &size), WDLT_OK);
}

TEST_F(SystemRecord, AForkedChildGoesOnUsingTheLibrary) {
    WdchSystemData record{};
    record.proxyPort = 1;
    ASSERT_EQ(WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, sizeof record), WDLT_OK);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        std::uint64_t size = sizeof record;
        bool good = WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, &size) == WDLT_OK;
        record.proxyPort = static_cast<std::uint16_t>(record.proxyPort + 1);
        good =
            good && WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, sizeof record) == WDLT_OK;
        library.unload();
        _exit(good ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    std::uint64_t size = sizeof record;
    EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, &size), WDLT_OK);
    EXPECT_EQ(record.proxyPort, 2);
}

TEST(Settings, AFileOfGarbageLeavesTheLogOffAndTheLibraryWhole) {
    std::string garbage(100'000, '\0');
    for (std::size_t i = 0; i < garbage.size(); ++i)
        garbage[i] = static_cast<char>(i * 7919 % 251);
    for (const std::string& content : {garbage, std::string("[ServiceSession\nEnable==1\n]["), std::string()}) {
        TestHome::instance().write("Wardlet.ini", content);
        const LoadedLibrary library;
        WdchSystemData record;
        std::uint64_t size = sizeof record;
        EXPECT_EQ(WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, 0, 0, &record, &size), WDLT_OK);
    }
    EXPECT_FALSE(std::filesystem::exists(TestHome::instance().path() / "log"));
}

} // namespace

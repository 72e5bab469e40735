// The operations that are walked, and what fails in them. WDLT_WALK_STRIDE: every how many points (7); 1 for all.
#include "FaultWalk.h"

#include "Child.h"
#include "ExhaustedMemory.h"
#include "TestHome.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

namespace {

using walk::Operation;

constexpr std::uint32_t kPort = 8080;
constexpr std::uint32_t kRule = 7;
constexpr const char* kText = "walked";

// A deletion that may find nothing.
bool isGone(std::int32_t status) {
    return status == WDLT_OK || status == WDLT_E_NOT_FOUND || status == WDLT_E_REGISTRY;
}

std::int32_t writeSystem(const LoadedLibrary& library) {
    WdchSystemData system{};
    system.proxyPort = kPort;
    return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &system, sizeof system);
}
bool systemIsStored(const LoadedLibrary& library) {
    WdchSystemData system{};
    std::uint64_t size = sizeof system;
    return WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &system, &size) == WDLT_OK &&
           system.proxyPort == kPort;
}

std::int32_t writePluginManager(const LoadedLibrary& library) {
    WdltPluginManagerConfig config{1, {}};
    std::strcpy(config.szFilename, kText);
    return WDLT_CALL(library, WdltPluginManagerWriteConfig)(&config);
}
bool pluginManagerIsStored(const LoadedLibrary& library) {
    WdltPluginManagerConfig config{};
    return WDLT_CALL(library, WdltPluginManagerReadConfig)(&config) == WDLT_OK && config.dwEnable == 1 &&
           std::strcmp(config.szFilename, kText) == 0;
}

std::int32_t replaceRule(const LoadedLibrary& library) {
    WdltDrsWhiteListItem rule{};
    rule.Index = kRule;
    rule.RuleName[0] = u'r';
    // All of them: a rule that was stored by half has no index to delete it by, and keeps its name taken.
    const std::int32_t removed = WDLT_CALL(library, WdltDeleteDRSWhiteListItem)(0);
    return isGone(removed) ? WDLT_CALL(library, WdltAddDRSWhiteListItem)(&rule) : removed;
}
bool ruleIsStored(const LoadedLibrary& library) {
    std::vector<WdltDrsWhiteListItem> rules(WDLT_MAX_DRS_INDEX);
    auto count = static_cast<std::int32_t>(rules.size());
    return WDLT_CALL(library, WdltGetAllDRSWhiteListItem)(rules.data(), &count) == WDLT_OK && count == 1 &&
           rules[0].Index == kRule && rules[0].RuleName[0] == u'r';
}

std::int32_t replaceRedirect(const LoadedLibrary& library) {
    WdchSystemRedirect redirect{};
    redirect.sessionType[0] = u'S';
    redirect.port = 80;
    const auto write = [&](std::uint64_t configType) {
        return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, configType, &redirect,
                                                   sizeof redirect);
    };
    const std::int32_t removed = write(WDLT_CONFIG_REDIRECT_DELETE);
    return isGone(removed) ? write(WDLT_CONFIG_REDIRECT_ADD) : removed;
}
bool redirectIsStored(const LoadedLibrary& library) {
    std::uint64_t size = 0;
    WDLT_CALL(library, WdltReadConfig)(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, 0, nullptr, &size);
    return size == sizeof(WdchSystemProtocolHandler) + sizeof(WdchSystemRedirect);
}

std::int32_t writeList(const LoadedLibrary& library) {
    WdpeUrlfUrlRecord record{};
    std::strcpy(record.szUrl, kText);
    return WDLT_CALL(library, WdltUrlfWriteRecordList)(WDLT_LIST_WHITE, &record, 1);
}
bool listIsStored(const LoadedLibrary& library) {
    WdpeUrlfUrlRecord record{};
    std::int32_t count = 1;
    return WDLT_CALL(library, WdltUrlfReadRecordList)(WDLT_LIST_WHITE, &record, &count) == WDLT_OK && count == 1 &&
           std::strcmp(record.szUrl, kText) == 0;
}

std::int32_t writeItems(const LoadedLibrary& library) {
    PrivacyViewItem item{};
    std::strcpy(item.szItemName, "name");
    std::strcpy(item.szPrivacyData, kText);
    return WDLT_CALL(library, WdltPdpWriteItemList)(&item, 1);
}
bool itemsAreStored(const LoadedLibrary& library) {
    PrivacyViewItem item{};
    std::int32_t count = 1;
    return WDLT_CALL(library, WdltPdpReadItemList)(&item, &count) == WDLT_OK && count == 1 &&
           std::strcmp(item.szPrivacyData, kText) == 0;
}

const Operation kOperations[] = {
    {.name = "RecordIntoAFreshTree", .layDown = [] { tree::clear(); }, .call = writeSystem, .isStored = systemIsStored},
    {.name = "PluginManager", .call = writePluginManager, .isStored = pluginManagerIsStored},
    {.name = "Rule", .call = replaceRule, .isStored = ruleIsStored},
    {.name = "Redirect", .call = replaceRedirect, .isStored = redirectIsStored},
    {.name = "List", .call = writeList, .isStored = listIsStored},
    {.name = "Items", .call = writeItems, .isStored = itemsAreStored},
    {.name = "FreshThread", .call = writePluginManager, .isStored = pluginManagerIsStored, .onFreshThread = true},
    {.name = "Load", .call = writePluginManager, .isStored = pluginManagerIsStored, .loadsInside = true},
};

class FaultWalk : public testing::TestWithParam<Operation> {
  protected:
    FaultWalk() {
        const std::string bin = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
        EXPECT_EQ(Child::run({bin + "/wdltctl", "init", "--force", "--install",
                              (TestHome::instance().path() / "install").string()})
                      .wait(),
                  0);
    }
    static int stride() {
        const char* const given = std::getenv("WDLT_WALK_STRIDE");
        return given == nullptr ? 7 : std::max(1, std::atoi(given));
    }
};

TEST_P(FaultWalk, MemoryGivesOut) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    walk::walk(GetParam(),
               {"allocation",
                [](int count, const std::function<void()>& body) {
                    const ExhaustedMemory exhausted(count);
                    body();
                    return ExhaustedMemory::wasMet();
                }},
               stride());
}

INSTANTIATE_TEST_SUITE_P(Exports, FaultWalk, testing::ValuesIn(kOperations),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace

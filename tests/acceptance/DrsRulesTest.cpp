// DRS's white list: rules in any state that the registry may hold, and as callers add and delete them.
#include "DrsService.h"
#include "RegistryRefusal.h"
#include "WebTree.h"

#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

static bool operator==(const WdltDrsWhiteListItem& left, const WdltDrsWhiteListItem& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

std::string ruleKey(const std::string& rule) {
    return kWhiteListKey + "\\" + rule;
}

template <std::size_t Size>
void put(wdlt_wchar (&field)[Size], const WideString& text) {
    std::ranges::fill(field, WTEXT('\0'));
    text.copy(field, Size);
}

WdltDrsWhiteListItem itemOf(std::uint32_t index, const WideString& rule, const WideString& image = WTEXT("a.exe"),
                            const WideString& domain = WTEXT("a.b")) {
    WdltDrsWhiteListItem item;
    item.Index = index;
    put(item.RuleName, rule);
    put(item.ProcessImageName, image);
    put(item.DomainName, domain);
    return item;
}

class DrsRules : public WebFeatures {
  protected:
    std::int32_t add(const WdltDrsWhiteListItem& item) { return WDLT_CALL(library, WdltAddDRSWhiteListItem)(&item); }
    std::int32_t remove(std::uint32_t index) { return WDLT_CALL(library, WdltDeleteDRSWhiteListItem)(index); }
    std::int32_t get(WdltDrsWhiteListItem* items, std::int32_t& count) {
        return WDLT_CALL(library, WdltGetAllDRSWhiteListItem)(items, &count);
    }
    std::vector<WdltDrsWhiteListItem> rules() {
        std::vector<WdltDrsWhiteListItem> items(20);
        auto count = static_cast<std::int32_t>(items.size());
        EXPECT_EQ(get(items.data(), count), WDLT_OK);
        items.resize(static_cast<std::size_t>(count));
        return items;
    }
};

// A rule as another program may have stored it, and what is read.
TEST_F(DrsRules, EachRuleThatTheRegistryMayHold) {
    const auto number = [](DWORD value) { return std::string(reinterpret_cast<const char*>(&value), sizeof value); };
    const auto text = [](std::size_t length) { return std::string(length, 't') + '\0'; };
    const WideString longest(299, WTEXT('t'));
    const struct {
        const char* value; // besides Index 5
        DWORD type;
        std::string data; // stored narrow, read wide
        std::vector<WdltDrsWhiteListItem> expected;
    } cases[] = {
        {"Other", REG_SZ, "", {itemOf(5, WTEXT("R"), WTEXT(""), WTEXT(""))}},
        {"Index", REG_DWORD, number(0), {}},
        {"Index", REG_DWORD, number(1000), {itemOf(1000, WTEXT("R"), WTEXT(""), WTEXT(""))}},
        {"Index", REG_DWORD, number(1001), {}},
        {"Index", REG_SZ, "1", {}},
        {"Index", REG_DWORD, number(1) + number(0), {}},
        {"ProcessImageName", REG_SZ, text(299), {itemOf(5, WTEXT("R"), longest, WTEXT(""))}},
        {"ProcessImageName", REG_SZ, text(300), {}},
        {"ProcessImageName", REG_DWORD, "a", {itemOf(5, WTEXT("R"), WTEXT("a"), WTEXT(""))}},
        {"DomainName", REG_SZ, text(255), {itemOf(5, WTEXT("R"), WTEXT(""), longest.substr(0, 255))}},
        {"DomainName", REG_SZ, text(256), {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.value).append(" ").append(std::to_string(c.data.size())));
        layOutWebTree();
        tree::setNumber(ruleKey("R"), "Index", 5);
        tree::set(ruleKey("R"), c.value, c.type, c.data);
        EXPECT_THAT(rules(), ElementsAreArray(c.expected));
        std::int32_t count = 77;
        EXPECT_EQ(get(nullptr, count), WDLT_E_BUFFER_SIZE); // the count isn't read without an array
        EXPECT_EQ(count, 1);
    }
    EXPECT_TRUE(library.logged("RegQueryValueExW fail to query ProcessImageName. (lRet=234)"));
    EXPECT_TRUE(library.logged("RegQueryValueExW fail to query DomainName. (lRet=2)(dwDataSize="));
}

TEST_F(DrsRules, TheFirstOfAnIndexWins) {
    for (const auto& [rule, index] : {std::pair("c", 7u), {"B", 7u}, {"a", 0u}, {"d", 8u}})
        tree::setNumber(ruleKey(rule), "Index", index);
    EXPECT_THAT(rules(),
                ElementsAre(itemOf(7, WTEXT("B"), WTEXT(""), WTEXT("")), itemOf(8, WTEXT("d"), WTEXT(""), WTEXT(""))));
    // A rule that is left out of the list doesn't occupy its index.
    tree::setText(ruleKey("B"), "DomainName", std::string(300, 'x'));
    EXPECT_THAT(rules(),
                ElementsAre(itemOf(7, WTEXT("c"), WTEXT(""), WTEXT("")), itemOf(8, WTEXT("d"), WTEXT(""), WTEXT(""))));
}

TEST_F(DrsRules, AsMuchAsThereIsRoomFor) {
    std::int32_t count = 5;
    EXPECT_EQ(get(nullptr, count), WDLT_OK);
    EXPECT_EQ(count, 0);
    // Rules 2 and 5 have no valid index.
    for (const auto& [rule, index] : {std::pair("1", 1u), {"2", 0u}, {"3", 3u}, {"4", 4u}, {"5", 0u}})
        tree::setNumber(ruleKey(rule), "Index", index);
    const auto expectRead = [&](std::int32_t room, std::int32_t status, std::int32_t told, std::uint32_t filled) {
        std::vector<WdltDrsWhiteListItem> items(5, itemOf(99, WTEXT("untouched")));
        count = room;
        EXPECT_EQ(get(items.data(), count), status) << room;
        EXPECT_EQ(count, told) << room;
        const std::uint32_t indexes[] = {1, 3, 4, 99, 99};
        for (std::uint32_t i = 0; i < 5; ++i)
            EXPECT_EQ(items[i].Index, i < filled ? indexes[i] : 99u) << room;
    };
    expectRead(-1, WDLT_E_BUFFER_SIZE, 5, 0);
    expectRead(2, WDLT_E_BUFFER_SIZE, 4, 2); // once the array is full, keys are counted unread
    expectRead(3, WDLT_E_BUFFER_SIZE, 4, 3);
    expectRead(4, WDLT_OK, 3, 3);
}

// A key's name may be longer than a rule's; the rules after it are still found.
TEST_F(DrsRules, NamesOfAnyKeyInTheList) {
    tree::setNumber(ruleKey(std::string(199, 'm')), "Index", 1);
    tree::setNumber(ruleKey(std::string(200, 'n')), "Index", 2);
    tree::setNumber(ruleKey(std::string(255, 'o')), "Index", 3);
    tree::setNumber(ruleKey("z"), "Index", 4);
    EXPECT_THAT(rules(), ElementsAre(itemOf(1, WideString(199, WTEXT('m')), WTEXT(""), WTEXT("")),
                                     itemOf(4, WTEXT("z"), WTEXT(""), WTEXT(""))));
    std::int32_t count = 0;
    EXPECT_EQ(remove(3), WDLT_OK);
    EXPECT_EQ(get(nullptr, count), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(count, 3);
}

TEST_F(DrsRules, WhatIsAddedIsReadBack) {
    DrsService service;
    const WdltDrsWhiteListItem items[] = {
        itemOf(1000, WTEXT("last"), WTEXT("C:\\\u4e00\\\u00e9.exe"), WTEXT("\u00fc.example")),
        itemOf(1, WideString(199, WTEXT('n')), WideString(299, WTEXT('i')), WideString(255, WTEXT('d'))),
        itemOf(2, WTEXT("empty"), WTEXT(""), WTEXT("")),
    };
    for (const WdltDrsWhiteListItem& item : items)
        EXPECT_EQ(add(item), WDLT_OK) << item.Index;
    EXPECT_EQ(service.heard(), 3);
    EXPECT_THAT(rules(), ElementsAre(items[2], items[0], items[1]));
    EXPECT_EQ(tree::storedText(ruleKey("empty"), "DomainName"), std::string(1, '\0'));
}

TEST_F(DrsRules, WhatIsRefusedChangesNothing) {
    DrsService service;
    ASSERT_EQ(add(itemOf(7, WTEXT("Rule"))), WDLT_OK);
    tree::setNumber(ruleKey("out"), "Index", 9);
    tree::setText(ruleKey("out"), "DomainName", std::string(300, 'x')); // left out of the list, so its index is free
    ASSERT_EQ(service.heard(), 1);
    const std::string before = dumpTree();
    const WideString filled(300, WTEXT('f'));
    const struct {
        WdltDrsWhiteListItem item;
        const char* line; // after the operation's name
    } cases[] = {
        {itemOf(0, WTEXT("new")), ": Invalid index:0"},
        {itemOf(1001, WTEXT("new")), ": Invalid index:1001"},
        {itemOf(8, filled), ": Invalid rule name"},
        {itemOf(8, WTEXT("")), ": Invalid rule name"},
        {itemOf(8, WTEXT("a\\b")), ": Invalid rule name"},
        {itemOf(8, WTEXT("new"), filled), ": Invalid image path"},
        {itemOf(8, WTEXT("new"), WTEXT(""), filled), ": Invalid domain name"},
        {itemOf(8, WTEXT("rULE")), " error: rule name exist: rULE"},
        {itemOf(8, WTEXT("out")), " error: rule name exist: out"},
        {itemOf(7, WTEXT("new")), " error: Duplicate index: 7"},
    };
    for (const auto& c : cases) {
        clearLog();
        EXPECT_EQ(add(c.item), WDLT_E_INVALID_ARGUMENT) << c.line;
        EXPECT_TRUE(library.logged(std::string("CFuncDRSCfg::AddWhiteListItem").append(c.line))) << c.line;
        EXPECT_EQ(dumpTree(), before) << c.line;
    }
    EXPECT_EQ(service.heard(), 0);
    EXPECT_EQ(add(itemOf(9, WTEXT("new"))), WDLT_OK);
}

TEST_F(DrsRules, RulesAreDeletedByIndexOrAll) {
    DrsService service;
    EXPECT_EQ(remove(1), WDLT_OK);
    EXPECT_EQ(service.heard(), 0); // no list, no signal
    EXPECT_FALSE(tree::keyExists(kDrsKey));
    ASSERT_EQ(WDLT_CALL(library, WdltEnableDRSWhiteList)(1, 3), WDLT_OK);
    tree::setNumber(ruleKey("0"), "Other", 1); // no index: skipped
    for (const auto& [rule, index] : {std::pair("b", 6u), {"c", 6u}, {"d", 2000u}})
        tree::setNumber(ruleKey(rule), "Index", index);
    tree::setNumber(ruleKey("b\\below\\deeper"), "x", 1);
    service.heard();
    const auto expectLeft = [&](std::uint32_t removed, const std::vector<std::string>& left) {
        EXPECT_EQ(remove(removed), WDLT_OK);
        EXPECT_EQ(service.heard(), 1);
        EXPECT_EQ(tree::subkeys(tree::path(kWhiteListKey)), left) << removed;
    };
    expectLeft(99, {"0", "b", "c", "d"});
    expectLeft(6, {"0", "c", "d"}); // the first of the two, with its subkeys
    expectLeft(2000, {"0", "c"});
    expectLeft(0, {});
    EXPECT_EQ(tree::number(kWhiteListKey, "UseWhiteList"), 1u);
    EXPECT_EQ(tree::number(kWhiteListKey, "Option"), 3u);
}

// Nothing is added while the indexes can't be read; a rule that can't be deleted doesn't stop the others.
TEST_F(DrsRules, WhenTheListCantBeHad) {
    DrsService service;
    for (const auto& [rule, index] : {std::pair("a", 5u), {"c", 6u}})
        tree::setNumber(ruleKey(rule), "Index", index);
    std::int32_t count = 7;
    const auto expectNothing = [&](const char* line) {
        EXPECT_EQ(remove(6), WDLT_E_GENERAL);
        EXPECT_EQ(get(nullptr, count), WDLT_E_GENERAL);
        EXPECT_EQ(count, 7);
        EXPECT_TRUE(library.logged(std::string("CFuncDRSCfg::DeleteWhiteListItem: ").append(line)));
        EXPECT_EQ(service.heard(), 0);
    };
    {
        const RegistryRefusal refusal("RegOpenKeyEx", "WhiteList");
        expectNothing("Cannot open whitelist key");
        EXPECT_EQ(add(itemOf(7, WTEXT("R"))), WDLT_E_GENERAL);
        EXPECT_TRUE(library.logged("GetAllWhiteListItem failed.(-1)"));
    }
    {
        const FailingEnumeration failing;
        expectNothing("Cannot enumerate whitelist key (lRet=1015)");
        EXPECT_EQ(remove(0), WDLT_E_GENERAL);
    }
    {
        const RegistryRefusal refusal("RegDeleteKey", "c");
        EXPECT_EQ(remove(6), WDLT_E_GENERAL);
        EXPECT_EQ(service.heard(), 0);
        EXPECT_EQ(remove(0), WDLT_OK); // all but this one
        EXPECT_EQ(service.heard(), 1);
        EXPECT_TRUE(library.logged("CFuncDRSCfg::DeleteWhiteListItem: delete c failed."));
    }
    EXPECT_THAT(tree::subkeys(tree::path(kWhiteListKey)), ElementsAre("c"));
    const FailingCommit failing;
    EXPECT_EQ(remove(0), WDLT_E_GENERAL);
    EXPECT_EQ(service.heard(), 0);
    EXPECT_THAT(tree::subkeys(tree::path(kWhiteListKey)), ElementsAre("c"));
}

TEST_F(DrsRules, AFullListTakesOneOfEachIndex) {
    for (std::uint32_t index = 1; index <= WDLT_MAX_DRS_INDEX; ++index)
        tree::setNumber(ruleKey(std::to_string(10000 + index)), "Index", index);
    std::vector<WdltDrsWhiteListItem> items(WDLT_MAX_DRS_INDEX);
    auto count = static_cast<std::int32_t>(items.size());
    EXPECT_EQ(get(items.data(), count), WDLT_OK);
    EXPECT_EQ(count, WDLT_MAX_DRS_INDEX);
    EXPECT_EQ(add(itemOf(500, WTEXT("one more"))), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(remove(500), WDLT_OK);
    EXPECT_EQ(add(itemOf(500, WTEXT("one more"))), WDLT_OK);
}

} // namespace

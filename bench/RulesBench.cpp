// Adding a rule to DRS's white list as the list grows: every rule's index is compared first, so that no index is there
// twice. Compared with writing the same key and values directly to the registry, and with reading the list through its
// export.
#include "Support.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>
#include <wdltcfg/wdltcfg.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

const std::u16string kList = u"SOFTWARE\\Halvermoor\\PLK\\Wardlet\\PluginManager\\DRS\\WhiteList";
constexpr std::uint32_t kListSizes[] = {1, 10, 100, 1000}; // including the rule that is added

std::u16string numbered(std::u16string_view stem, std::uint32_t number) {
    std::u16string text(stem);
    for (const char digit : std::to_string(10'000 + number))
        text.push_back(static_cast<char16_t>(digit));
    return text;
}

WdltDrsWhiteListItem ruleOf(std::uint32_t index) {
    WdltDrsWhiteListItem rule{};
    rule.Index = index;
    std::ranges::copy(numbered(u"Rule of a process ", index), rule.RuleName);
    std::ranges::copy(numbered(u"C:\\Program Files\\Vendor\\program", index) + u".exe", rule.ProcessImageName);
    std::ranges::copy(numbered(u"*.host", index) + u".example", rule.DomainName);
    return rule;
}

void set(HKEY key, const WCHAR* name, DWORD type, const void* data, std::size_t bytes) {
    RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes));
}
void setText(HKEY key, const WCHAR* name, const WCHAR* text) {
    set(key, name, REG_SZ, text, (std::u16string_view(text).size() + 1) * sizeof *text);
}

void storeRule(const WdltDrsWhiteListItem& rule) {
    const RegistryBatch batch;
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kList + u"\\" + rule.RuleName).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &key, nullptr);
    set(key, u"Index", REG_DWORD, &rule.Index, sizeof rule.Index);
    setText(key, u"ProcessImageName", rule.ProcessImageName);
    setText(key, u"DomainName", rule.DomainName);
    RegCloseKey(key);
}

void layDownRules(std::uint32_t count) {
    if (WdltDeleteDRSWhiteListItem(0) != WDLT_OK)
        throw std::runtime_error("the list can't be emptied");
    const RegistryBatch batch;
    for (std::uint32_t index = 1; index <= count; ++index)
        storeRule(ruleOf(index));
}

// Deletes the added rule again, untimed.
template <class Add>
void added(benchmark::State& state, std::uint32_t size, Add&& add) {
    layDownRules(size - 1);
    const WdltDrsWhiteListItem rule = ruleOf(size);
    for (auto _ : state) {
        add(rule);
        state.PauseTiming();
        if (WdltDeleteDRSWhiteListItem(size) != WDLT_OK)
            state.SkipWithError("not deleted");
        state.ResumeTiming();
    }
}

void addedByExport(benchmark::State& state, std::uint32_t size) {
    added(state, size, [&](const WdltDrsWhiteListItem& rule) {
        if (WdltAddDRSWhiteListItem(&rule) != WDLT_OK)
            state.SkipWithError("not added");
    });
}

void addedPlainly(benchmark::State& state, std::uint32_t size) {
    added(state, size, storeRule);
}

void read(benchmark::State& state, std::uint32_t size) {
    layDownRules(size);
    std::vector<WdltDrsWhiteListItem> rules(size);
    for (auto _ : state) {
        auto count = static_cast<std::int32_t>(size);
        if (WdltGetAllDRSWhiteListItem(rules.data(), &count) != WDLT_OK)
            state.SkipWithError("not read");
    }
}

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    for (const std::uint32_t size : kListSizes) {
        const std::string suffix = std::string("_").append(std::to_string(size));
        const auto add = [&](const char* name, void (*body)(benchmark::State&, std::uint32_t)) {
            benchmark::RegisterBenchmark((name + suffix).c_str(), [=](benchmark::State& state) {
                body(state, size);
            })->UseRealTime();
        };
        add("addedPlainly", addedPlainly);
        add("listRead", read);
        add("addedByExport", addedByExport);
    }
    return bench::run(argc, argv);
}

// What one system writes is read by the other: `exchange write FOLDER` fills each kind of record file, the sealed values
// and the rules through the exports, `exchange read FOLDER` prints what it reads there. The same program for both systems;
// gates/windows.sh compares what they print, and the files.
#include <platform/registry.h>

#include <wdltcfg/addresses.h>
#include <wdltcfg/wdltcfg.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

bool g_failed = false;

void check(const char* what, std::int32_t status) {
    std::printf("%s: %d\n", what, status);
    g_failed = g_failed || status != WDLT_OK;
}

template <std::size_t size>
void put(char (&field)[size], const std::string& text) {
    text.copy(field, size - 1);
}

template <std::size_t size>
void put(wdlt_wchar (&field)[size], const WideString& text) {
    text.copy(field, size - 1);
}

void setText(const char* name, const std::string& text) {
    HKEY key = nullptr;
    LONG error = RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvermoor\\PLK\\Wardlet", 0, nullptr, 0,
                                 KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (error == 0)
        error = RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                               static_cast<DWORD>(text.size() + 1));
    if (key != nullptr)
        RegCloseKey(key);
    g_failed = g_failed || error != 0;
}

template <class Record>
std::vector<Record> records(const std::vector<std::string>& texts) {
    std::vector<Record> all(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i)
        texts[i].copy(reinterpret_cast<char*>(&all[i]), sizeof(Record));
    return all;
}

std::int32_t countOf(const std::vector<std::string>& texts) {
    return static_cast<std::int32_t>(texts.size());
}

void write() {
    const std::vector<std::string> urls = {"http://a.example/*", "*.b.example/\xC3\xA4?", std::string(2083, 'u')};
    check("white", WdltUrlfWriteRecordList(WDLT_LIST_WHITE, records<WdpeUrlfUrlRecord>(urls).data(), countOf(urls)));
    check("black", WdltUrlfWriteRecordList(WDLT_LIST_BLACK, records<WdpeUrlfUrlRecord>({"x"}).data(), 1));
    const std::vector<std::string> hosts = {"host one", std::string("\1\0\xFF", 3)};
    check("hosts", WdltHosfWriteRecordList(records<WdpeHosfHostRecord>(hosts).data(), countOf(hosts)));
    const std::vector<std::string> spies = {"Spy.A", std::string(128, 's')};
    check("spyware", WdltSpyWriteRecordList(0, records<WdpeSpyRecord>(spies).data(), countOf(spies)));
    const std::vector<std::string> mails = {"*@c.example", "J\xC3\xB6rg@d.example", "#no comment"};
    check("mails", WdltAspmWriteRecordList(WDLT_LIST_WHITE, records<WdpeAspmEntry>(mails).data(), countOf(mails)));

    PrivacyViewItem items[2] = {{0, 3, "card", "of the \xC3\xA4ltest", "4711 0815"},
                                {7, 1, "name", "", "M\xC3\xBCller"}};
    check("items", WdltPdpWriteItemList(items, 2));
    PrivacyExclusionItem exclusion{1, WDLT_PRIVACY_EXCLUSION_TARGET, "intranet.example"};
    check("exclusions", WdltPdpWriteExItemList(&exclusion, 1));

    WdltUrlfProxy proxy{1, "proxy.example", 3128, "user", "pass \xC3\xA4 word"};
    check("proxy", WdltUrlfWriteProxy(&proxy));
    WdltDrsWhiteListItem rule{};
    rule.Index = 5;
    put(rule.RuleName, WTEXT("R\u00E9gle \u4E00"));
    put(rule.ProcessImageName, WTEXT("C:\\\u00FC.exe"));
    put(rule.DomainName, WTEXT("*.example"));
    check("rule", WdltAddDRSWhiteListItem(&rule));
}

void printBytes(const char* what, const void* record, std::size_t size) {
    std::printf("  %s ", what);
    while (size > 0 && static_cast<const unsigned char*>(record)[size - 1] == 0)
        --size;
    for (const auto* at = static_cast<const unsigned char*>(record); size > 0; ++at, --size)
        std::printf(*at > ' ' && *at < 0x7F ? "%c" : "%%%02x", *at);
    std::printf("\n");
}

// Reads with room for as many as there are in any of these lists.
template <class Record, class Read>
void print(const char* what, Read&& read) {
    std::vector<Record> all(32);
    auto count = static_cast<std::int32_t>(all.size());
    const std::int32_t status = read(all.data(), &count);
    check(what, status);
    if (status != WDLT_OK)
        return;
    for (std::int32_t i = 0; i < count; ++i)
        printBytes(what, &all[static_cast<std::size_t>(i)], sizeof(Record));
}

void read() {
    for (const std::uint32_t type : {WDLT_LIST_WHITE, WDLT_LIST_BLACK})
        print<WdpeUrlfUrlRecord>("urls",
                                 [&](auto* all, auto* count) { return WdltUrlfReadRecordList(type, all, count); });
    print<WdpeHosfHostRecord>("hosts", WdltHosfReadRecordList);
    print<WdpeSpyRecord>("spyware", [](auto* all, auto* count) { return WdltSpyReadRecordList(0, all, count); });
    print<WdpeAspmEntry>("mails",
                         [](auto* all, auto* count) { return WdltAspmReadRecordList(WDLT_LIST_WHITE, all, count); });
    print<PrivacyViewItem>("items", WdltPdpReadItemList);
    print<PrivacyExclusionItem>("exclusions", WdltPdpReadExItemList);
    print<WdltDrsWhiteListItem>("rules", WdltGetAllDRSWhiteListItem);
    WdltUrlfProxy proxy{};
    check("proxy", WdltUrlfReadProxy(&proxy));
    printBytes("proxy", &proxy, sizeof proxy);
    const auto asked = records<WdpeUrlfUrlRecord>({"http://a.example/page"});
    std::printf("asked: %d\n", WdltUrlfIsRecordExists(WDLT_LIST_WHITE, asked.data()));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const std::string folder = argv[2];
    setText("InstallPath", folder);
    setText("TempPath", folder);
    if (std::string(argv[1]) == "write")
        write();
    else
        read();
    return g_failed ? 1 : 0;
}

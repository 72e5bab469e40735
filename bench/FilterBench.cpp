// The URL filter through the exports: its settings, its lists, and the question whether a URL is on one, answered by a
// service and from the list's file. For comparison, the least that the same work can take: a bare durable commit, an
// exchange without a question, and copies of the list's megabyte.
#include "Fixtures.h"
#include "Support.h"

#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/wdltcfg.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kRecordCounts[] = {0, 1, 10, 50, 100, 500};
constexpr DWORD kActionBytes = 20;

void demand(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(what);
}

void layDownTree(const bench::Home& home) {
    for (const char* const folder : {"install", "temp"})
        std::filesystem::create_directories(home.path() / folder);
    const bench::Key system(bench::kBase);
    system.set("InstallPath", (home.path() / "install/").c_str());
    system.set("TempPath", (home.path() / "temp/").c_str());
    const bench::Key filter(bench::kBase + "\\Scan\\Common\\URLFilter\\config");
    for (const char* const name :
         {"Mode", "EnableServerLookup", "EnableProxy", "ProxyPort", "EnableCategoryChk", "EnablePharm",
          "CategoryNonBlock", "PharmingNonBlock", "NotifyAll", "EnableCredibilityChk", "CredibilityNonBlock",
          "UserDefinedCredLevel", "UseCredibilityScore", "CredScoreThresHold", "EnablePhishChk", "PhishNonBlock",
          "EnableWdlDns", "EnableWdufeDns"})
        filter.set(name, DWORD{1});
    for (const char* const name : {"BlockCategoryGroups", "BlockPhishCategoryGrps", "ProxyServer"})
        filter.set(name, "1,2,3");
    filter.set("Whitelist", "white.dat");
    filter.set("Blacklist", "black.dat");
    WdltUrlfProxy proxy{1, "proxy.example", 3128, "user", "password"};
    demand(WdltUrlfWriteProxy(&proxy) == WDLT_OK, "the proxy can't be written");
}

std::vector<WdpeUrlfUrlRecord> patterns(int count) {
    std::vector<WdpeUrlfUrlRecord> records(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < records.size(); ++i)
        std::string("http://www.company")
            .append(std::to_string(i))
            .append(".example.com/*")
            .copy(records[i].szUrl, 2083);
    return records;
}

std::int32_t writeList(const std::vector<WdpeUrlfUrlRecord>& records) {
    return WdltUrlfWriteRecordList(WDLT_LIST_BLACK, records.data(), static_cast<std::int32_t>(records.size()));
}

void settingsRead(benchmark::State& state) {
    WdltUrlfConfig config;
    for (auto _ : state)
        demand(WdltUrlfReadConfig(&config) == WDLT_OK, "read");
}

// The export reads 23 values, changes one and writes them, in one commit.
void settingsWritten(benchmark::State& state) {
    WdltUrlfConfig config;
    demand(WdltUrlfReadConfig(&config) == WDLT_OK, "read");
    for (auto _ : state) {
        ++config.dwMode;
        demand(WdltUrlfWriteConfig(&config) == WDLT_OK, "write");
    }
}

void bareCommit(benchmark::State& state) {
    const bench::Key key(bench::kBase + "\\Bench");
    DWORD number = 0;
    for (auto _ : state)
        key.set("Bench", ++number);
}

void listRead(benchmark::State& state, int records) {
    demand(writeList(patterns(records)) == WDLT_OK, "write");
    std::vector<WdpeUrlfUrlRecord> room(500);
    for (auto _ : state) {
        std::int32_t count = 500;
        demand(WdltUrlfReadRecordList(WDLT_LIST_BLACK, room.data(), &count) == WDLT_OK && count == records, "read");
    }
}

void listWritten(benchmark::State& state, int records) {
    const auto list = patterns(records);
    for (auto _ : state)
        demand(writeList(list) == WDLT_OK, "write");
}

// Allocates, clears and copies a list of full size (a megabyte): the least that any read of it does.
void megabyteCopied(benchmark::State& state) {
    std::vector<WdpeUrlfUrlRecord> room(500);
    for (auto _ : state) {
        const auto list = std::make_unique<WdpeUrlfUrlList>();
        benchmark::DoNotOptimize(list.get());
        std::memcpy(room.data(), list->records, sizeof list->records);
        benchmark::ClobberMemory();
    }
}

// Answers every question with 1 until killed; without the question's mapping it only answers the exchange.
void answerQuestions(int ready) {
    const std::string base = "Global\\wdlt_action";
    HANDLE request = CreateEventA(nullptr, FALSE, FALSE, (base + "_WdEvent").c_str());
    HANDLE reply = CreateEventA(nullptr, FALSE, FALSE, (base + "_WdEvent_ret").c_str());
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kActionBytes,
                                        (base + "_WdMemory").c_str());
    void* const memory = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    if (memory == nullptr || write(ready, "r", 1) != 1)
        return;
    while (WaitForSingleObject(request, INFINITE) == WAIT_OBJECT_0) {
        HANDLE question = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, "Global\\wdlt_urlfilter_action_data_map");
        if (auto* const view = static_cast<BYTE*>(MapViewOfFile(question, FILE_MAP_ALL_ACCESS, 0, 0, 2093))) {
            const DWORD found = 1;
            std::memcpy(view + 2088, &found, sizeof found);
            UnmapViewOfFile(view);
        }
        CloseHandle(question);
        const DWORD status = 0;
        std::memcpy(memory, &status, sizeof status);
        SetEvent(reply);
    }
}

void ask(benchmark::State& state, std::int32_t answer) {
    WdpeUrlfUrlRecord url{};
    std::strcpy(url.szUrl, "https://www.site.example.com/some/folder/index.php?page=3");
    for (auto _ : state)
        demand(WdltUrlfIsRecordExists(WDLT_LIST_BLACK, &url) == answer, "another answer");
}

void urlAskedOfTheFile(benchmark::State& state, int records) {
    demand(writeList(patterns(records)) == WDLT_OK, "write");
    ask(state, 0);
}

void urlAskedOfTheService(benchmark::State& state) {
    const bench::Pipe ready;
    const bench::Child service([&] { answerQuestions(ready.ends[1]); });
    ready.take();
    ask(state, 1);
}

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    layDownTree(home);
    const auto add = [](const std::string& name, auto body) {
        benchmark::RegisterBenchmark(name.c_str(), body)->UseRealTime();
    };
    add("settingsRead", settingsRead);
    add("settingsWritten", settingsWritten);
    add("bareCommit", bareCommit);
    add("megabyteCopied", megabyteCopied);
    for (const int records : kRecordCounts) {
        const std::string suffix = std::string("_").append(std::to_string(records));
        add("listRead" + suffix, [=](benchmark::State& state) { listRead(state, records); });
        add("listWritten" + suffix, [=](benchmark::State& state) { listWritten(state, records); });
        add("urlAskedOfTheFile" + suffix, [=](benchmark::State& state) { urlAskedOfTheFile(state, records); });
    }
    add("urlAskedOfTheService", urlAskedOfTheService);
    add("pipesBackAndForth", bench::pipesBackAndForth);
    return bench::run(argc, argv);
}

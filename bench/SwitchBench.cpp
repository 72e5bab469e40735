// Features queried and switched through the exports, as the number of handlers grows: a handler is found by its type,
// so each must be looked at. Then one exchange with the service. Compared with plain reads and writes in the same run,
// and with the closest thing to an exchange: a byte sent there and back through two pipes.
#include "Fixtures.h"
#include "Support.h"
#include "SyncSender.h"

#include <platform/win32.h>
#include <wdltcfg/wdltcfg.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

using bench::Child;
using bench::kBase;
using bench::Key;
using bench::Pipe;

constexpr int kHandlerCounts[] = {1, 2, 4, 8, 16};
constexpr const char* kNotification = "wdlt_config_change_evt";

std::string numbered(std::string name, int number) {
    return name.append(std::to_string(number));
}

// `count` handlers; POP3's comes last in the order of names, so it is the slowest to find.
void layDownHandlers(int count) {
    const std::string handlers = kBase + "\\ProtocolHandler";
    for (int i = 1; i <= WDLT_MAX_HANDLERS; ++i) {
        const std::string path = numbered(handlers + "\\Handler", 100 + i);
        if (i > count) {
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, path.c_str());
            continue;
        }
        const Key handler(path);
        handler.set("Type", static_cast<DWORD>(count - i + 1));
        handler.set("Enable", DWORD{0});
        handler.set("Filename", "WdphBench.dll");
        handler.set("Scan", "POP3");
    }
    const Key item(kBase + "\\Scan\\POP3\\Virus");
    item.set("Enable", DWORD{0});
    item.set("LogExtension", "log");
}

void require(benchmark::State& state, bool holds) {
    if (!holds)
        state.SkipWithError("the feature isn't as it was switched");
}

void asked(benchmark::State& state, int handlers) {
    layDownHandlers(handlers);
    require(state, WdltPvsEnable(1) == WDLT_OK && WdltPvsIsEnabled() == 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(WdltPvsIsEnabled());
}

// One iteration switches off and on.
void switched(benchmark::State& state, int handlers) {
    layDownHandlers(handlers);
    require(state, WdltPvsEnable(0) == WDLT_OK && WdltPvsIsEnabled() == 0);
    require(state, WdltPvsEnable(1) == WDLT_OK && WdltPvsIsEnabled() == 1);
    bool done = true;
    for (auto _ : state)
        done = WdltPvsEnable(0) == WDLT_OK && WdltPvsEnable(1) == WDLT_OK && done;
    require(state, done && WdltPvsIsEnabled() == 1);
}

void registryRead(benchmark::State& state) {
    const std::string path = kBase + "\\Scan\\POP3\\Virus";
    for (auto _ : state) {
        HKEY key = nullptr;
        DWORD number = 0;
        DWORD size = sizeof number;
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key);
        RegQueryValueExA(key, "Enable", nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
        RegCloseKey(key);
        benchmark::DoNotOptimize(number);
    }
}

// As many syncs as switching a feature off and on takes: scan item and handler, twice.
void registryFourWrites(benchmark::State& state) {
    const Key key(kBase + "\\Bench");
    DWORD number = 0;
    for (auto _ : state)
        for (int i = 0; i < 4; ++i)
            key.set("Bench", ++number);
}

// Creates the service's objects and answers until killed.
void answerNotifications(int ready) {
    const std::string base = std::string("Global\\") + kNotification;
    HANDLE request = CreateEventA(nullptr, FALSE, FALSE, (base + "_WdEvent").c_str());
    HANDLE reply = CreateEventA(nullptr, FALSE, FALSE, (base + "_WdEvent_ret").c_str());
    CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, (base + "_WdMemory").c_str());
    if (write(ready, "r", 1) != 1)
        return;
    while (WaitForSingleObject(request, INFINITE) == WAIT_OBJECT_0)
        SetEvent(reply);
}

// An exchange without the pause after it, which is 100 ms by design.
void notification(benchmark::State& state) {
    const Pipe ready;
    const Child service([&] { answerNotifications(ready.ends[1]); });
    ready.take();
    for (auto _ : state) {
        CSyncSender sender;
        sender.SetName(kNotification);
        void* const memory = sender.OpenMemory(8);
        require(state, memory != nullptr);
        if (memory == nullptr)
            break;
        std::memset(memory, 1, 8);
        sender.CloseMemory();
        require(state, sender.Send(false));
    }
}

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    const auto add = [](const std::string& name, auto body) {
        benchmark::RegisterBenchmark(name.c_str(), body)->UseRealTime();
    };
    add("registryRead", registryRead);
    add("registryFourWrites", registryFourWrites);
    for (const int handlers : kHandlerCounts) {
        const std::string suffix = numbered("_", handlers);
        add("pvsIsEnabled" + suffix, [=](benchmark::State& state) { asked(state, handlers); });
        add("pvsEnableBothWays" + suffix, [=](benchmark::State& state) { switched(state, handlers); });
    }
    add("pipesBackAndForth", bench::pipesBackAndForth);
    add("notification", notification);
    return bench::run(argc, argv);
}

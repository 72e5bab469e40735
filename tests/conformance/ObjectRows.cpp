#include "Row.h"

#include <array>
#include <iterator>
#include <thread>
#include <utility>

namespace {

struct Kind {
    Word name;
    HANDLE (*create)(LPCSTR name);
    HANDLE (*open)(LPCSTR name);
};
const Kind kKinds[] = {
    {{"mutex"},
     [](LPCSTR name) { return CreateMutexA(nullptr, FALSE, name); },
     [](LPCSTR name) { return OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name); }},
    {{"event"},
     [](LPCSTR name) { return CreateEventA(nullptr, TRUE, FALSE, name); },
     [](LPCSTR name) { return OpenEventA(EVENT_ALL_ACCESS, FALSE, name); }},
    {{"semaphore"}, [](LPCSTR name) { return CreateSemaphoreA(nullptr, 1, 2, name); }, nullptr},
    {{"mapping"},
     [](LPCSTR name) { return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, name); },
     [](LPCSTR name) { return OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name); }},
};

Outcome opened(const Kind& kind, LPCSTR name) {
    HANDLE handle = nullptr;
    const Outcome outcome = made([&] { return handle = kind.open(name); });
    CloseHandle(handle);
    return outcome;
}

void nameRows() {
    const std::string longest(MAX_PATH - 1, 'n');
    const std::string tooLong(MAX_PATH, 'n');
    const std::string utterly(1000, 'n');
    const std::array<const char*, 17> names = {nullptr,
                                               "",
                                               "plain",
                                               "Plain",
                                               "Global\\name",
                                               "Local\\name",
                                               "global\\name",
                                               "a\\b",
                                               "Global\\a\\b",
                                               "Global\\",
                                               " ",
                                               "a/b",
                                               ".",
                                               "*?<>:|\"",
                                               longest.c_str(),
                                               tooLong.c_str(),
                                               utterly.c_str()};
    for (const Kind& kind : kKinds)
        for (const char* name : names) {
            const bool opens = kind.open != nullptr;
            if (opens)
                row("objects.open-missing", kind.name, name)(opened(kind, name));
            HANDLE first = nullptr;
            HANDLE second = nullptr;
            row("objects.create", kind.name, name)(made([&] { return first = kind.create(name); }, true));
            row("objects.create-again", kind.name, name)(made([&] { return second = kind.create(name); }, true));
            if (opens)
                row("objects.open", kind.name, name)(opened(kind, name));
            row("objects.close", kind.name, name)(made([&] { return CloseHandle(first); }));
            if (opens)
                row("objects.open-other-handle", kind.name, name)(opened(kind, name));
            CloseHandle(second);
            if (opens)
                row("objects.open-closed", kind.name, name)(opened(kind, name));
        }
    for (const Kind& kind : kKinds) {
        const Handle holder(kind.create("kinds"));
        for (const Kind& other : kKinds) {
            HANDLE handle = nullptr;
            row("objects.create-over", kind.name,
                other.name)(made([&] { return handle = other.create("kinds"); }, true));
            CloseHandle(handle);
            if (other.open != nullptr)
                row("objects.open-as", kind.name, other.name)(opened(other, "kinds"));
        }
    }
    const Handle cased(CreateEventA(nullptr, TRUE, FALSE, "Case"));
    row("objects.case", Word{"other"})(opened(kKinds[1], "case"));
    const Handle global(CreateEventA(nullptr, TRUE, FALSE, "Global\\prefix"));
    row("objects.prefix", Word{"global"})(opened(kKinds[1], "Global\\prefix"));
    row("objects.prefix", Word{"without"})(opened(kKinds[1], "prefix"));
    const Handle local(CreateEventA(nullptr, TRUE, FALSE, "Local\\here"));
    row("objects.prefix", Word{"local-without"})(opened(kKinds[1], "here"));
}

/* What each call says to a handle. */
void callRows(Word what, HANDLE handle) {
    const auto told = [&](std::string_view call, auto body) { row("objects.handle", what, Word{call})(made(body)); };
    row("objects.handle", what, Word{"wait"})(made([&] { return WaitForSingleObject(handle, 0) != WAIT_FAILED; }));
    told("release-mutex", [&] { return ReleaseMutex(handle); });
    told("set-event", [&] { return SetEvent(handle); });
    told("reset-event", [&] { return ResetEvent(handle); });
    told("release-semaphore", [&] { return ReleaseSemaphore(handle, 1, nullptr); });
    told("map-view", [&] { return MapViewOfFile(handle, FILE_MAP_ALL_ACCESS, 0, 0, 0); });
    told("close", [&] { return CloseHandle(handle); });
}

void handleRows() {
    for (const Kind& kind : kKinds)
        callRows(kind.name, kind.create(nullptr));
    HANDLE closed = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(closed);
    callRows({"closed"}, closed);
    callRows({"null"}, nullptr);
    callRows({"number"}, reinterpret_cast<HANDLE>(std::uintptr_t{0x7654320}));
    const auto numbered = [](HANDLE handle, std::uintptr_t more) {
        return reinterpret_cast<HANDLE>(reinterpret_cast<std::uintptr_t>(handle) + more);
    };
    const Handle event(CreateEventA(nullptr, TRUE, TRUE, nullptr));
    for (const unsigned more : {1u, 2u, 3u})
        row("objects.low-bits", more)(WaitForSingleObject(numbered(event, more), 0));
    writeFile("file", "x");
    const Handle file(CreateFileA("file", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    row("objects.wait-for-file")(WaitForSingleObject(file, 0));
}

void eventRows() {
    for (const BOOL manual : {FALSE, TRUE})
        for (const BOOL initial : {FALSE, TRUE}) {
            const Handle event(CreateEventA(nullptr, manual, initial, nullptr));
            const auto told = [&](std::string_view step, auto result) {
                row("objects.event", manual, initial, Word{step})(result);
            };
            told("wait", WaitForSingleObject(event, 0));
            told("wait-again", WaitForSingleObject(event, 0));
            told("set", SetEvent(event));
            told("set-again", SetEvent(event));
            told("wait-set", WaitForSingleObject(event, INFINITE));
            told("wait-set-again", WaitForSingleObject(event, 0));
            told("reset", ResetEvent(event));
            told("wait-reset", WaitForSingleObject(event, 0));
        }
}

void semaphoreRows() {
    constexpr LONG kLargest = 0x7FFFFFFF;
    constexpr std::pair<LONG, LONG> kCounts[] = {
        {0, 0}, {0, 1}, {1, 1}, {2, 1}, {3, 3}, {-1, 1}, {0, -1}, {0, kLargest}, {kLargest, kLargest}};
    for (const auto& [initial, maximum] : kCounts) {
        HANDLE handle = nullptr;
        const auto create = [&handle, initial = initial, maximum = maximum] {
            return handle = CreateSemaphoreA(nullptr, initial, maximum, nullptr);
        };
        row("objects.semaphore", initial, maximum)(made(create));
        if (handle == nullptr)
            continue;
        const Handle semaphore(handle);
        for (const LONG count : {0, -1, 1, 2, 3, 4}) {
            LONG previous = 77;
            const Outcome released = made([&] { return ReleaseSemaphore(handle, count, &previous); });
            row("objects.release-semaphore", initial, maximum, count)(released, released.success ? previous : 0);
        }
        int waits = 0;
        while (waits < 5 && WaitForSingleObject(semaphore, 0) == WAIT_OBJECT_0)
            ++waits;
        row("objects.semaphore-waits", initial, maximum)(waits, WaitForSingleObject(semaphore, 0));
    }
}

/* A thread's steps, to their end. */
template <class Steps>
void elsewhere(Steps steps) {
    std::thread(steps).join();
}

void mutexRows() {
    for (const BOOL owned : {FALSE, TRUE}) {
        const Handle mutex(CreateMutexA(nullptr, owned, "mutex rows"));
        const auto told = [&](std::string_view step, const auto& result) {
            row("objects.mutex", owned, Word{step})(result);
        };
        const auto release = [&] { return made([&] { return ReleaseMutex(mutex); }); };
        told("release", release());
        told("wait", WaitForSingleObject(mutex, 0));
        told("wait-nested", WaitForSingleObject(mutex, INFINITE));
        elsewhere([&] { told("wait-elsewhere", WaitForSingleObject(mutex, 0)); });
        elsewhere([&] { told("release-elsewhere", release()); });
        told("release-nested", release());
        elsewhere([&] { told("wait-elsewhere-held-once", WaitForSingleObject(mutex, 0)); });
        told("release-last", release());
        told("release-too-often", release());
        elsewhere([&] { told("wait-elsewhere-free", WaitForSingleObject(mutex, 0)); });
        told("wait-abandoned", WaitForSingleObject(mutex, INFINITE));
        told("wait-nested-after", WaitForSingleObject(mutex, 0));
        told("release-after", release());
        told("release-after-again", release());
        told("release-after-too-often", release());
        elsewhere([&] { (void)WaitForSingleObject(mutex, 0), ReleaseMutex(mutex); });
        told("wait-not-abandoned", WaitForSingleObject(mutex, 0));
        ReleaseMutex(mutex);
        elsewhere([&] {
            HANDLE other = nullptr;
            told("create-owned-existing",
                 made([&] { return other = CreateMutexA(nullptr, TRUE, "mutex rows"); }, true));
            told("release-not-owned", release());
            CloseHandle(other);
        });
        told("wait-last", WaitForSingleObject(mutex, 0));
        ReleaseMutex(mutex);
    }
}

void mappingRows() {
    const auto create = [](DWORD protection, DWORD high, DWORD low, LPCSTR name) {
        return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, protection, high, low, name);
    };
    for (const DWORD protection : {0u, 1u, 2u, 4u, 8u, 0x10u, 0x20u, 0x40u, 0x1000004u, 0x8000004u}) {
        HANDLE handle = nullptr;
        row("objects.mapping-protection",
            Hex{protection})(made([&] { return handle = create(protection, 0, 100, nullptr); }));
        CloseHandle(handle);
    }
    for (const DWORD size : {0u, 1u, 4095u, 4096u, 4097u}) {
        HANDLE handle = nullptr;
        row("objects.mapping-size", size)(made([&] { return handle = create(PAGE_READWRITE, 0, size, nullptr); }));
        CloseHandle(handle);
    }
    const Handle mapping(create(PAGE_READWRITE, 0, 5000, "mapping rows"));
    const auto mapped = [&](std::string_view call, DWORD access, DWORD high, DWORD low, std::size_t bytes) {
        void* view = nullptr;
        row(call, Hex{access}, high, low,
            bytes)(made([&] { return view = MapViewOfFile(mapping, access, high, low, bytes); }));
        if (view != nullptr)
            UnmapViewOfFile(view);
    };
    for (const std::size_t bytes : {0u, 1u, 4096u, 5000u, 5001u, 8192u, 8193u, 100000u})
        mapped("objects.view", FILE_MAP_ALL_ACCESS, 0, 0, bytes);
    for (const DWORD offset : {1u, 4096u, 65536u, 100000u})
        mapped("objects.view", FILE_MAP_ALL_ACCESS, 0, offset, 1);
    mapped("objects.view", FILE_MAP_ALL_ACCESS, 1, 0, 1);
    for (const DWORD access : {0u, 1u, 2u, 4u, 6u, 8u})
        mapped("objects.view", access, 0, 0, 10);
    char* view = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0));
    row("objects.view-is-zero")(view[0] == 0, view[4999] == 0);
    view[10] = 'v';
    char* second = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 100));
    row("objects.views-share")(second[10]);
    row("objects.unmap", Word{"inside"})(made([&] { return UnmapViewOfFile(view + 5000); }));
    row("objects.unmap", Word{"second"})(made([&] { return UnmapViewOfFile(second); }));
    row("objects.unmap", Word{"null"})(made([&] { return UnmapViewOfFile(nullptr); }));
    for (const DWORD size : {100u, 5000u, 5001u, 8192u, 8193u}) {
        HANDLE other = nullptr;
        row("objects.mapping-again",
            size)(made([&] { return other = create(PAGE_READWRITE, 0, size, "mapping rows"); }, true));
        CloseHandle(other);
    }
    UnmapViewOfFile(view);
    {
        const Handle kept(create(PAGE_READWRITE, 0, 100, "kept"));
        view = static_cast<char*>(MapViewOfFile(kept, FILE_MAP_ALL_ACCESS, 0, 0, 0));
        view[0] = 'k';
    }
    row("objects.view-without-handle")(view[0], opened(kKinds[3], "kept"));
    row("objects.unmap", Word{"first"})(made([&] { return UnmapViewOfFile(view); }));
    row("objects.unmap", Word{"again"})(made([&] { return UnmapViewOfFile(view); }));
    row("objects.unmapped-and-closed")(opened(kKinds[3], "kept"));
}

} // namespace

void objectRows() {
    nameRows();
    handleRows();
    eventRows();
    semaphoreRows();
    mutexRows();
    mappingRows();
}

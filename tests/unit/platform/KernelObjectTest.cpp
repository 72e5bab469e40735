// Kernel objects in one process: each call's codes, and what a name, a handle and a view stand for.
#include <TestKey.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>
#include <platform/testing.h>

#include <cstring>
#include <functional>

namespace {

constexpr DWORD kUntouched = 4711; // last error of before a call

struct Expected {
    const char* call;
    DWORD error;
    std::function<bool()> succeeds;
};

void expectAll(const std::vector<Expected>& rows) {
    for (const Expected& row : rows) {
        SetLastError(kUntouched);
        const bool succeeded = row.succeeds();
        const DWORD error = GetLastError();
        EXPECT_EQ(succeeded, row.error == 0 || row.error == ERROR_ALREADY_EXISTS || row.error == kUntouched)
            << row.call;
        EXPECT_EQ(error, row.error) << row.call;
    }
}

class KernelObject : public testing::Test {
  protected:
    KernelObject() { useFreshHome(); }
};

// The calls that make and open each kind.
struct Kind {
    const char* name;
    std::function<Handle(const char*)> create;
    std::function<Handle(const char*)> open;
};
const Kind kKinds[] = {
    {"mutex", [](auto name) { return makeMutex(name); },
     [](auto name) { return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name)); }},
    {"event", [](auto name) { return makeEvent(name, false, false); },
     [](auto name) { return Handle(OpenEventA(EVENT_ALL_ACCESS, FALSE, name)); }},
    {"semaphore", [](auto name) { return makeSemaphore(name, 0, 3); }, nullptr},
    {"mapping", [](auto name) { return makeMapping(name, 100); },
     [](auto name) { return Handle(OpenFileMappingA(FILE_MAP_WRITE, FALSE, name)); }},
};

TEST_F(KernelObject, ANameIsOneObjectOfOneKind) {
    for (const Kind& first : kKinds) {
        if (first.open) {
            EXPECT_EQ(errorOf(first.open("name")), ERROR_FILE_NOT_FOUND) << first.name;
        }
        const Handle object = first.create("name");
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << first.name;
        for (const Kind& second : kKinds) {
            const bool same = first.name == second.name;
            std::vector<Expected> rows = {{second.name, same ? ERROR_ALREADY_EXISTS : ERROR_INVALID_HANDLE,
                                           [&] { return second.create("name") != nullptr; }}};
            if (second.open)
                rows.push_back({second.name, same ? kUntouched : ERROR_INVALID_HANDLE,
                                [&] { return second.open("name") != nullptr; }});
            SCOPED_TRACE(first.name);
            expectAll(rows);
        }
    }
}

TEST_F(KernelObject, CodesOfCreatingAndOpening) {
    const Handle there = makeMapping("map", 4097);
    const auto map = [](const char* name, DWORD low, DWORD high = 0, HANDLE file = INVALID_HANDLE_VALUE,
                        DWORD protection = PAGE_READWRITE) {
        return Handle(CreateFileMappingA(file, nullptr, protection, high, low, name)) != nullptr;
    };
    int file = 0;
    expectAll({
        {"a mapping of a file", ERROR_INVALID_HANDLE, [&] { return map("x", 1, 0, &file); }},
        {"read-only", ERROR_INVALID_PARAMETER, [&] { return map("x", 1, 0, INVALID_HANDLE_VALUE, 2); }},
        {"of no bytes", ERROR_INVALID_PARAMETER, [&] { return map("x", 0); }},
        {"the same size", ERROR_ALREADY_EXISTS, [&] { return map("map", 4097); }},
        {"one byte more", ERROR_ACCESS_DENIED, [&] { return map("map", 4098); }},
        {"4 GiB more", ERROR_ACCESS_DENIED, [&] { return map("map", 1, 1); }},
        {"over the limit", ERROR_NOT_ENOUGH_MEMORY, [&] { return map("huge", (1u << 30) + 1); }},
        {"without a name", ERROR_NOT_ENOUGH_MEMORY, [&] { return map(nullptr, 0xFFFFF000, ~0u); }},
        {"a semaphore for nobody", ERROR_INVALID_PARAMETER, [] { return makeSemaphore("s", 0, 0) != nullptr; }},
        {"more than its maximum", ERROR_INVALID_PARAMETER, [] { return makeSemaphore("s", 2, 1) != nullptr; }},
        {"opening no name", ERROR_INVALID_PARAMETER, [] { return OpenMutexA(0, FALSE, nullptr) != nullptr; }},
    });
    EXPECT_EQ(objectFiles(), std::vector<std::string>{"map"});
}

TEST_F(KernelObject, CodesOfUsing) {
    const Handle mutex = makeMutex("m");
    const Handle event = makeEvent("e", false, false);
    const Handle semaphore = makeSemaphore("s", 1, 3);
    const Handle mapping = makeMapping("map", 100);
    const View<char> view = viewOf<char>(mapping);
    ASSERT_NE(view, nullptr);
    LONG previous = -7;
    const auto post = [&](const Handle& object, LONG count) {
        return ReleaseSemaphore(object.get(), count, &previous);
    };
    const auto map = [&](const Handle& object, DWORD high, DWORD low, std::size_t bytes) {
        return View<char>(static_cast<char*>(MapViewOfFile(object.get(), FILE_MAP_READ, high, low, bytes))) != nullptr;
    };
    expectAll({
        {"releasing a free mutex", ERROR_NOT_OWNER, [&] { return ReleaseMutex(mutex.get()); }},
        {"releasing an event", ERROR_INVALID_HANDLE, [&] { return ReleaseMutex(event.get()); }},
        {"setting a mutex", ERROR_INVALID_HANDLE, [&] { return SetEvent(mutex.get()); }},
        {"posting an event", ERROR_INVALID_HANDLE, [&] { return post(event, 1); }},
        {"posting less", ERROR_INVALID_PARAMETER, [&] { return post(semaphore, -1); }},
        {"posting too many", ERROR_TOO_MANY_POSTS, [&] { return post(semaphore, 3); }},
        {"posting far too many", ERROR_TOO_MANY_POSTS, [&] { return post(semaphore, 0x7FFFFFFF) || previous != -7; }},
        {"posting up to the maximum", kUntouched, [&] { return post(semaphore, 2) && previous == 1; }},
        {"waiting for memory", ERROR_INVALID_HANDLE, [&] { return waitFor(mapping) != WAIT_FAILED; }},
        {"mapping a mutex", ERROR_INVALID_HANDLE, [&] { return map(mutex, 0, 0, 0); }},
        {"an offset", ERROR_INVALID_PARAMETER, [&] { return map(mapping, 0, 65536, 1); }},
        {"a far offset", ERROR_INVALID_PARAMETER, [&] { return map(mapping, 1, 0, 1); }},
        {"a byte more", ERROR_ACCESS_DENIED, [&] { return map(mapping, 0, 0, 101); }},
        {"unmapping the middle", ERROR_INVALID_ADDRESS, [&] { return UnmapViewOfFile(view.get() + 1); }},
        {"asking a mutex for its taker", ERROR_INVALID_HANDLE, [&] { return WdEventTaker(mutex.get()) != 0; }},
        {"signalling a mutex again", ERROR_INVALID_HANDLE, [&] { return WdSignalAgain(mutex.get(), 9); }},
        {"a wait for a taker of a semaphore", ERROR_INVALID_HANDLE,
         [&] { return WdWaitForEvent(semaphore.get(), WD_ROLE_ALONE, 0, nullptr, nullptr) != WAIT_FAILED; }},
    });
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(waitFor(semaphore), WAIT_OBJECT_0) << "none was lost on the way";
    EXPECT_EQ(waitFor(semaphore), WAIT_TIMEOUT);
}

// Closed, closed twice, another table's, made up: told apart from open ones whatever came into their place.
TEST_F(KernelObject, AHandleThatIsntOpenIsRefused) {
    const HANDLE closed = makeMutex("m", true).release();
    EXPECT_TRUE(CloseHandle(closed));
    const Handle open = makeEvent("e", true, true); // where the closed one stood
    const TestKey key = TestKey::create("K");
    int local = 0;
    const auto madeUp = [&](std::uintptr_t add) {
        return reinterpret_cast<HANDLE>(reinterpret_cast<std::uintptr_t>(open.get()) + add);
    };
    for (const HANDLE handle : {closed, HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{key.get()}, HANDLE{&local},
                                madeUp(1), madeUp(1 << 8), madeUp(std::uintptr_t{1} << 32)}) {
        EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_FAILED);
        for (const auto& call : {SetEvent, ResetEvent, ReleaseMutex, CloseHandle}) {
            SetLastError(kUntouched);
            EXPECT_EQ(errorOf(call(handle)), ERROR_INVALID_HANDLE);
        }
    }
    EXPECT_EQ(waitFor(open), WAIT_OBJECT_0);
    EXPECT_EQ(RegCloseKey(static_cast<HKEY>(open.get())), LONG{ERROR_INVALID_HANDLE});
}

TEST_F(KernelObject, NamesAreBytesWithCase) {
    const std::string longest(255, 'x');
    const std::string awkward(85, '\\');
    std::vector<std::string> names = {"m",   "M",          "Global\\m", "global\\m", "Local/m", "m.",
                                      ".m",  ".processes", "..",        ".",         " ",       "%20",
                                      "m\n", "m\x7F",      "\xC3\xA4",  "\xFF",      "*"};
    names.insert(names.end(), {longest, longest.substr(1), awkward, awkward.substr(1) + "/"});
    std::vector<Handle> all;
    for (const std::string& name : names) {
        all.push_back(makeMutex(name.c_str(), true));
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << name << " is another's name too";
        EXPECT_NE(makeMutex(name.c_str()), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS) << name;
    }
    EXPECT_EQ(objectFiles().size(), all.size());
    for (const std::string& name : {std::string(MAX_PATH, 'x'), awkward + '\\'}) {
        EXPECT_EQ(errorOf(makeMutex(name.c_str())), ERROR_FILENAME_EXCED_RANGE);
        EXPECT_EQ(errorOf(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name.c_str())), ERROR_FILENAME_EXCED_RANGE);
    }
}

TEST_F(KernelObject, ObjectsWithoutANameAreAlone) {
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        const Handle one = makeMutex(name, true);
        const Handle other = makeMutex(name, true);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        EXPECT_TRUE(ReleaseMutex(one.get()));
        EXPECT_EQ(waitElsewhere(one), WAIT_OBJECT_0);
        EXPECT_EQ(waitElsewhere(one), WAIT_ABANDONED) << "the thread that took it ended";
        EXPECT_EQ(waitElsewhere(other), WAIT_TIMEOUT);
    }
    const View<char> view = viewOf<char>(makeMapping(nullptr, 5000));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(std::string(view.get(), 5000), std::string(5000, '\0'));
    EXPECT_TRUE(objectFiles().empty());
}

TEST_F(KernelObject, AViewIsTheMemoryAndKeepsIt) {
    View<char> first;
    View<char> second;
    {
        const Handle mapping = makeMapping("map", 3 * 4096);
        first = viewOf<char>(mapping);
        second = viewOf<char>(mapping, 1);
    }
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first.get()) % 4096, 0u);
    EXPECT_EQ(std::string(first.get(), 3 * 4096), std::string(3 * 4096, '\0'));
    const void* const address = first.get();
    first.reset();
    second[3 * 4096 - 1] = 'x';
    Handle mapping(OpenFileMappingA(FILE_MAP_READ, FALSE, "map"));
    EXPECT_EQ(viewOf<char>(mapping).get(), address) << "there is a view left, so there is the memory";
    second.reset();
    EXPECT_FALSE(UnmapViewOfFile(address)) << "as often as it was mapped, and no more";
    mapping.reset();
    EXPECT_EQ(errorOf(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")), ERROR_FILE_NOT_FOUND) << "nothing is left of it";
}

// A closed object stays mapped for the next one of its name, of which nobody must see more than speed.
TEST_F(KernelObject, AClosedObjectIsGone) {
    for (DWORD bytes : {100u, 5000u, 200u, 3u << 20}) { // the last is too large to be kept
        const Handle mapping = makeMapping("map", bytes);
        ASSERT_NE(mapping, nullptr);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        const View<char> view = viewOf<char>(mapping, bytes);
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(std::string(view.get(), bytes), std::string(bytes, '\0'));
        std::memset(view.get(), 'x', bytes);
    }
    EXPECT_EQ(errorOf(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")), ERROR_FILE_NOT_FOUND);
    makeEvent("map", true, true).reset(); // another kind now
    EXPECT_EQ(errorOf(OpenEventA(EVENT_ALL_ACCESS, FALSE, "map")), ERROR_FILE_NOT_FOUND);
    const Handle event = makeEvent("map", false, false);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    EXPECT_EQ(waitFor(event), WAIT_TIMEOUT);
    // Nor are many of them kept.
    for (int i = 0; i < 40; ++i)
        makeMutex(std::string("closed").append(std::to_string(i)).c_str());
    EXPECT_LE(objectFiles().size(), 32u + 1);
}

} // namespace

// Kernel objects in one process: each call's codes, and the meaning of names, handles and views.
#include <TestKey.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>
#include <platform/testing.h>

#include <cstring>
#include <functional>

namespace {

using namespace std::string_literals;

class KernelObject : public testing::Test {
  protected:
    KernelObject() { useFreshHome(); }
};

TEST_F(KernelObject, ANameIsOneObjectOfOneKind) {
    const struct {
        const char* name;
        std::function<Handle(const char*)> create, open;
    } kinds[] = {
        {"mutex", [](auto name) { return makeMutex(name); },
         [](auto name) { return Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name)); }},
        {"event", [](auto name) { return makeEvent(name, false, false); },
         [](auto name) { return Handle(OpenEventA(EVENT_ALL_ACCESS, FALSE, name)); }},
        {"mapping", [](auto name) { return makeMapping(name, 100); },
         [](auto name) { return Handle(OpenFileMappingA(FILE_MAP_WRITE, FALSE, name)); }},
    };
    for (const auto& first : kinds) {
        EXPECT_EQ(errorOf(first.open("name")), ERROR_FILE_NOT_FOUND) << first.name;
        const Handle object = first.create("name");
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << first.name;
        for (const auto& second : kinds) {
            SCOPED_TRACE(testing::Message() << first.name << ", then " << second.name);
            const bool isSame = &first == &second;
            EXPECT_EQ(errorOf(second.open("name")), isSame ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
            EXPECT_EQ(second.create("name") != nullptr, isSame);
            EXPECT_EQ(GetLastError(), isSame ? ERROR_ALREADY_EXISTS : ERROR_INVALID_HANDLE);
        }
    }
}

TEST_F(KernelObject, WhatIsRefused) {
    const Handle mutex = makeMutex("m");
    const Handle event = makeEvent("e", false, false);
    const Handle mapping = makeMapping("map", 4097);
    const View<char> view = viewOf<char>(mapping);
    ASSERT_NE(view, nullptr);
    const auto map = [&](DWORD high, DWORD low, std::size_t bytes) {
        return MapViewOfFile(mapping.get(), FILE_MAP_READ, high, low, bytes);
    };
    const std::pair<DWORD, DWORD> rows[] = {
        {errorOf(makeMapping("x", 0)), ERROR_INVALID_PARAMETER},
        {errorOf(makeMapping("map", 4098)), ERROR_ACCESS_DENIED},
        {errorOf(makeMapping("huge", (1u << 30) + 1)), ERROR_NOT_ENOUGH_MEMORY},
        {errorOf(map(0, 0, 4098)), ERROR_ACCESS_DENIED},
        {errorOf(WdMappingBytes(mapping.get(), 4098)), ERROR_ACCESS_DENIED},
        {errorOf(WdMappingBytes(event.get(), 1)), ERROR_INVALID_HANDLE},
        {errorOf(map(0, 65536, 1)), ERROR_INVALID_PARAMETER},
        {errorOf(map(0, 4096, 1)), ERROR_MAPPED_ALIGNMENT},
        {errorOf(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "")), ERROR_INVALID_HANDLE},
        {errorOf(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, nullptr)), ERROR_INVALID_PARAMETER},
        {errorOf(map(1, 0, 1)), ERROR_INVALID_PARAMETER},
        {errorOf(UnmapViewOfFile(view.get() + 1)), ERROR_INVALID_ADDRESS},
        {errorOf(ReleaseMutex(mutex.get())), ERROR_NOT_OWNER},
        {errorOf(ReleaseMutex(event.get())), ERROR_INVALID_HANDLE},
        {errorOf(SetEvent(mutex.get())), ERROR_INVALID_HANDLE},
        {errorOf(waitFor(mapping) != WAIT_FAILED), ERROR_INVALID_HANDLE},
        {errorOf(WdSignalAgain(mutex.get(), 9)), ERROR_INVALID_HANDLE},
    };
    for (const auto& [error, expected] : rows)
        EXPECT_EQ(error, expected) << "row " << &error - &rows[0].first;
    EXPECT_EQ(objectFiles(), (std::vector<std::string>{"e", "m", "map"}));
}

// Handles that are closed, closed twice, of another table or made up are told from open ones, even in a reused slot.
TEST_F(KernelObject, AHandleThatIsntOpenIsRefused) {
    const HANDLE closed = makeMutex("m", true).release();
    EXPECT_TRUE(CloseHandle(closed));
    const Handle open = makeEvent("e", true, true); // reuses the closed one's slot
    const TestKey key = TestKey::create("K");
    int local = 0;
    const auto madeUp = [&](std::uintptr_t add) {
        return reinterpret_cast<HANDLE>(reinterpret_cast<std::uintptr_t>(open.get()) + add);
    };
    for (const HANDLE handle : {closed, HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{key.get()}, HANDLE{&local},
                                madeUp(4), madeUp(1 << 8), madeUp(std::uintptr_t{1} << 32)}) {
        EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_FAILED);
        for (const auto& call : {SetEvent, ResetEvent, ReleaseMutex, CloseHandle})
            EXPECT_EQ(errorOf(call(handle)), ERROR_INVALID_HANDLE);
    }
    for (const std::uintptr_t tag : {0u, 1u, 2u, 3u}) // is the caller's
        EXPECT_EQ(WaitForSingleObject(madeUp(tag), 0), WAIT_OBJECT_0);
    EXPECT_EQ(RegCloseKey(static_cast<HKEY>(open.get())), LONG{ERROR_INVALID_HANDLE});
}

TEST_F(KernelObject, NamesAreBytesWithCase) {
    const std::string longest(255, 'x');
    const std::string awkward(85, '\\');
    std::vector<Handle> all;
    for (const std::string& name :
         {"m"s, "M"s, "Global\\m"s, "Local/m"s, ".."s, ".processes"s, "\xFF"s, longest, awkward}) {
        all.push_back(makeMutex(name.c_str()));
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << name << " is another's name too";
        EXPECT_NE(makeMutex(name.c_str()), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS) << name;
    }
    EXPECT_EQ(objectFiles().size(), all.size());
    for (const std::string& name : {std::string(MAX_PATH, 'x'), awkward + '\\'})
        EXPECT_EQ(errorOf(makeMutex(name.c_str())), ERROR_FILENAME_EXCED_RANGE);
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

// A closed object stays cached for the next one of its name, which must not be noticeable except in speed.
TEST_F(KernelObject, AClosedObjectIsGone) {
    for (DWORD bytes : {100u, 5000u, 200u, 3u << 20}) { // the last is too large to be cached
        const Handle mapping = makeMapping("map", bytes);
        ASSERT_NE(mapping, nullptr);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        const View<char> view = viewOf<char>(mapping, bytes);
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(std::string(view.get(), bytes), std::string(bytes, '\0'));
        std::memset(view.get(), 'x', bytes);
    }
    EXPECT_EQ(errorOf(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")), ERROR_FILE_NOT_FOUND);
    makeEvent("map", true, true).reset(); // now another kind of object
    EXPECT_EQ(errorOf(OpenEventA(EVENT_ALL_ACCESS, FALSE, "map")), ERROR_FILE_NOT_FOUND);
    const Handle event = makeEvent("map", false, false);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    EXPECT_EQ(waitFor(event), WAIT_TIMEOUT);
    // The cache is limited, too.
    for (int i = 0; i < 40; ++i)
        makeMutex(std::string("closed").append(std::to_string(i)).c_str());
    EXPECT_LE(objectFiles().size(), 32u + 1);
}

} // namespace

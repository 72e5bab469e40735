/* Kernel objects of the peer: named for all sessions and open to every user's processes, as the library's senders open
   them by name. Each lives as long as its owner here. */
#pragma once

#include <memory>
#include <platform/win32.h>
#include <string>

namespace wdlt {

struct CloseObject {
    void operator()(HANDLE object) const { CloseHandle(object); }
};
using Object = std::unique_ptr<void, CloseObject>;

struct UnmapMemory {
    void operator()(BYTE* view) const { UnmapViewOfFile(view); }
};
using Memory = std::unique_ptr<BYTE, UnmapMemory>;

template <class T>
struct Created {
    T object;
    bool wasThere; /* some living process had it already */
};

/* `name` without the prefix of its session. A failure is a LayerError. */
Created<Object> createMutex(const std::string& name);
Created<Object> createEvent(const std::string& name);
/* Mapped: the view keeps the memory alive. */
Created<Memory> createMemory(const std::string& name, DWORD bytes);

/* Of this process alone; stays signalled. */
Object createLatch();

} // namespace wdlt

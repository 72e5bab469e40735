/* Kernel objects of the peer: in the global namespace and open to every user's processes, since the library's senders
   open them by name. Each is closed with its owner here. */
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
    bool wasThere; /* some live process had it open already */
};

/* `name` is given without the Global\ prefix. A failure is a LayerError. */
Created<Object> createMutex(const std::string& name);
Created<Object> createEvent(const std::string& name);
/* Mapped: the view keeps the memory alive. */
Created<Memory> createMemory(const std::string& name, DWORD bytes);

/* An unnamed manual-reset event. */
Object createLatch();

} // namespace wdlt

/* Kernel objects of the service: in the global namespace and open to every user's processes, since the library's senders
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

/* A mutex that the thread holds; only that thread may give it up. */
struct GiveUpMutex {
    void operator()(HANDLE mutex) const {
        ReleaseMutex(mutex);
        CloseHandle(mutex);
    }
};
using HeldMutex = std::unique_ptr<void, GiveUpMutex>;

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
Created<Object> createEvent(const std::string& name);
/* Mapped: the view keeps the memory alive. */
Created<Memory> createMemory(const std::string& name, DWORD bytes);

/* Null while another holds it, who lives. A failure is a LayerError. */
HeldMutex takeIfFree(const std::string& name);

/* An unnamed manual-reset event. */
Object createLatch();

} // namespace wdlt

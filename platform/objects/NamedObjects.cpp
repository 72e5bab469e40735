// The exported functions on kernel objects.
#include "KernelObject.h"
#include "LastError.h"
#include "ProcessTable.h"
#include "Security.h"
#include "Views.h"
#include "Waiting.h"

#include "Home.h"
#include "SystemCalls.h"

#include <platform/robust.h>

#include <cerrno>
#include <cstdint>

namespace {

using wd::failed;
using wd::ObjectKind;
using wd::ObjectPlan;
using wd::ObjectUse;

constexpr DWORD kViewAlignment = 0x10000;

HANDLE create(LPSECURITY_ATTRIBUTES attributes, ObjectPlan plan, LPCSTR name) {
    return wd::withinMemory(HANDLE{}, [&]() -> HANDLE {
        if (!wd::enterObjects())
            return nullptr;
        wd::ObjectSecurity security;
        if (const DWORD error = wd::securityOf(attributes, security)) {
            failed(error);
            return nullptr;
        }
        plan.mayCreate = true;
        plan.text = security.sddl;
        plan.mode = security.everybody ? ObjectPlan::kEverybody : ObjectPlan::kCreatorAlone;
        return wd::openObject(plan, name);
    });
}

HANDLE open(ObjectKind kind, LPCSTR name) {
    return wd::withinMemory(HANDLE{}, [&]() -> HANDLE {
        if (!wd::enterObjects())
            return nullptr;
        if (name == nullptr || *name == '\0') {
            failed(name == nullptr ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
            return nullptr;
        }
        ObjectPlan plan;
        plan.kind = kind;
        const DWORD before = GetLastError();
        HANDLE handle = wd::openObject(plan, name);
        if (handle != nullptr)
            SetLastError(before);
        return handle;
    });
}

} // namespace

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCSTR name) {
    ObjectPlan plan;
    plan.kind = ObjectKind::Mutex;
    plan.ownedByCreator = initialOwner != FALSE;
    return create(attributes, plan, name);
}

HANDLE OpenMutexA(DWORD /*access*/, BOOL /*inherit*/, LPCSTR name) {
    return open(ObjectKind::Mutex, name);
}

BOOL ReleaseMutex(HANDLE handle) {
    ObjectUse mutex;
    return mutex.acquire(handle, ObjectKind::Mutex) && wd::releaseMutex(*mutex) ? TRUE : FALSE;
}

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState, LPCSTR name) {
    ObjectPlan plan;
    plan.kind = ObjectKind::Event;
    plan.parameter = manualReset != FALSE ? 1 : 0;
    plan.word = initialState != FALSE ? 0 : wd::kTaken;
    return create(attributes, plan, name);
}

HANDLE OpenEventA(DWORD /*access*/, BOOL /*inherit*/, LPCSTR name) {
    return open(ObjectKind::Event, name);
}

BOOL SetEvent(HANDLE handle) {
    ObjectUse event;
    if (!event.acquire(handle, ObjectKind::Event))
        return FALSE;
    wd::signalEvent(*event);
    return TRUE;
}

BOOL ResetEvent(HANDLE handle) {
    ObjectUse event;
    if (!event.acquire(handle, ObjectKind::Event))
        return FALSE;
    wd::resetEvent(*event);
    return TRUE;
}

HANDLE CreateSemaphoreA(LPSECURITY_ATTRIBUTES attributes, LONG initialCount, LONG maximumCount, LPCSTR name) {
    if (maximumCount <= 0 || initialCount < 0 || initialCount > maximumCount) {
        failed(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    ObjectPlan plan;
    plan.kind = ObjectKind::Semaphore;
    plan.parameter = static_cast<std::uint32_t>(maximumCount);
    plan.word = static_cast<std::uint64_t>(initialCount) << wd::kGenerationShift;
    return create(attributes, plan, name);
}

BOOL ReleaseSemaphore(HANDLE handle, LONG count, LONG* previousCount) {
    ObjectUse semaphore;
    if (!semaphore.acquire(handle, ObjectKind::Semaphore))
        return FALSE;
    std::uint32_t previous = 0;
    if (count <= 0 || !wd::releaseSemaphore(*semaphore, static_cast<std::uint32_t>(count), previous)) {
        failed(count <= 0 ? ERROR_INVALID_PARAMETER : ERROR_TOO_MANY_POSTS);
        return FALSE;
    }
    if (previousCount != nullptr)
        *previousCount = static_cast<LONG>(previous);
    return TRUE;
}

HANDLE CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES attributes, DWORD protection, DWORD sizeHigh,
                          DWORD sizeLow, LPCSTR name) {
    ObjectPlan plan;
    plan.kind = ObjectKind::Mapping;
    plan.bytes = std::uint64_t{sizeHigh} << 32 | sizeLow;
    if (file != INVALID_HANDLE_VALUE || protection != PAGE_READWRITE || plan.bytes == 0) {
        failed(file != INVALID_HANDLE_VALUE ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return create(attributes, plan, name);
}

HANDLE OpenFileMappingA(DWORD /*access*/, BOOL /*inherit*/, LPCSTR name) {
    return open(ObjectKind::Mapping, name);
}

LPVOID MapViewOfFile(HANDLE handle, DWORD /*access*/, DWORD offsetHigh, DWORD offsetLow, std::size_t bytes) {
    ObjectUse mapping;
    if (!mapping.acquire(handle, ObjectKind::Mapping))
        return nullptr;
    // A damaged mapping may have nothing but its header.
    const bool tooLong = bytes > mapping->bytes() || mapping->bytes() == 0;
    if (offsetHigh != 0 || offsetLow != 0 || tooLong) {
        const bool isAligned = offsetLow % kViewAlignment == 0;
        failed(!isAligned ? ERROR_MAPPED_ALIGNMENT : tooLong ? ERROR_ACCESS_DENIED : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return wd::withinMemory(LPVOID{}, [&] {
        wd::addView(*mapping);
        return mapping->view();
    });
}

BOOL UnmapViewOfFile(const void* view) {
    if (!wd::enterObjects())
        return FALSE;
    if (wd::removeView(view))
        return TRUE;
    failed(ERROR_INVALID_ADDRESS);
    return FALSE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (!wd::enterObjects())
        return WAIT_FAILED;
    ObjectUse object;
    if (!object.find(handle, ObjectKind::Any)) {
        if (object.isFile()) // reads and writes end before their calls return
            return WAIT_OBJECT_0;
        failed(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    wd::WaitOptions options;
    options.milliseconds = milliseconds;
    return wd::waitFor(*object, options);
}

BOOL CloseHandle(HANDLE handle) {
    ObjectUse object;
    if (!wd::enterObjects())
        return FALSE;
    const bool isObject = object.find(handle, ObjectKind::Any);
    if (!wd::KernelHandles::close(handle)) {
        failed(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (isObject && object->handles.fetch_sub(1, std::memory_order_relaxed) == 1 && object->kind() == ObjectKind::Mutex)
        wd::releaseWholly(*object);
    return TRUE;
}

void Sleep(DWORD milliseconds) {
    const std::uint64_t nanoseconds = wd::scaledNanoseconds(milliseconds);
    constexpr std::uint64_t kSecond = 1'000'000'000;
    struct timespec left {
        static_cast<time_t>(nanoseconds / kSecond), static_cast<long>(nanoseconds % kSecond)
    };
    while (wd::sys::nanosleep(&left, &left) != 0 && errno == EINTR)
        ;
}

DWORD WdWaitForEvent(HANDLE handle, DWORD role, DWORD milliseconds, WD_LOOK look, void* context) {
    ObjectUse event;
    if (!event.acquire(handle, ObjectKind::Event))
        return WAIT_FAILED;
    return wd::waitFor(*event, {milliseconds, role, look, context});
}

WD_TAG WdEventTaker(HANDLE handle) {
    ObjectUse event;
    return event.acquire(handle, ObjectKind::Event) ? wd::takerOf(event->word().load(std::memory_order_relaxed)) : 0;
}

BOOL WdSignalAgain(HANDLE handle, WD_TAG taker) {
    ObjectUse event;
    return event.acquire(handle, ObjectKind::Event) && wd::signalEventIf(*event, taker) ? TRUE : FALSE;
}

void WdBeginOwnHandles() {
    wd::beginOwnHandles();
}

void WdEndOwnHandles() {
    wd::endOwnHandles();
}

BOOL WdObjectHasOthers(HANDLE handle) {
    ObjectUse object;
    if (!object.acquire(handle, ObjectKind::Any))
        return TRUE;
    const bool isOwn = object->handles.load(std::memory_order_relaxed) <= 1 &&
                       (!object->isNamed() || !object->file().isOpenElsewhere());
    return isOwn ? FALSE : TRUE;
}

LPVOID WdMappingBytes(HANDLE handle, std::size_t atLeast) {
    ObjectUse mapping;
    if (!mapping.acquire(handle, ObjectKind::Mapping))
        return nullptr;
    if (atLeast > mapping->bytes()) {
        failed(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return mapping->view();
}

void WdForgetBytes(HANDLE) {
    // The mapping's own view is closed with its last handle.
}

ULONGLONG WdMappingMark(HANDLE handle) {
    ObjectUse mapping;
    return mapping.acquire(handle, ObjectKind::Mapping) ? mapping->word().load(std::memory_order_relaxed) : 0;
}

BOOL WdSetMappingMark(HANDLE handle, ULONGLONG mark) {
    ObjectUse mapping;
    if (!mapping.acquire(handle, ObjectKind::Mapping))
        return FALSE;
    mapping->word().store(mark, std::memory_order_relaxed);
    return TRUE;
}

WD_TAG WdOwnTag(DWORD role) {
    if (!wd::enterObjects())
        return 0;
    if (role == WD_ROLE_GROUP)
        return WD_GROUP_TAG;
    const wd::ProcessTable* processes = wd::ownProcesses();
    return processes == nullptr ? 0 : wd::withRole(processes->own(), role);
}

DWORD WdTagRole(WD_TAG tag) {
    return wd::roleOf(tag);
}

BOOL WdTagIsAlive(WD_TAG tag) {
    if (!wd::enterObjects())
        return TRUE; // what can't be told counts as alive
    const wd::ProcessTable* processes = wd::ownProcesses();
    return processes == nullptr || processes->isAlive(tag) ? TRUE : FALSE;
}

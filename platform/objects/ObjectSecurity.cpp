#include "ObjectSecurity.h"

#include "KernelObject.h"
#include "LastError.h"
#include "ObjectSpace.h"

#include <cerrno>

namespace wd {

namespace {

static_assert(ObjectSecurity::kTextLimit == ObjectHeader::kTextBytes);

DWORD query(KernelObject& object, ObjectSecurity& security) {
    security.sddl = loadText(object.header());
    security.everybody = true;
    if (!object.isNamed())
        return ERROR_SUCCESS;
    mode_t mode = 0;
    const DWORD error = object.file().readMode(mode);
    security.everybody = mode == ObjectPlan::kEverybody;
    return error;
}

// Changes the kernel's permission first: a text that promises more than the kernel grants would mislead its readers.
DWORD change(KernelObject& object, const ObjectSecurity& security) {
    if (security.sddl.size() > ObjectSecurity::kTextLimit)
        return ERROR_INSUFFICIENT_BUFFER;
    ObjectSecurity before;
    if (const DWORD error = query(object, before))
        return error;
    if (object.isNamed() && security.everybody != before.everybody) {
        const mode_t mode = security.everybody ? ObjectPlan::kEverybody : object.space()->creatorsMode();
        if (const DWORD error = object.file().changeMode(mode))
            return error;
    }
    storeText(object.header(), security.sddl);
    return ERROR_SUCCESS;
}

template <class Action>
DWORD withHandle(HANDLE handle, Action&& action) {
    ObjectUse object;
    return object.acquire(handle, ObjectKind::Any) ? action(*object) : GetLastError();
}

template <class Action>
DWORD withName(const char* name, Action&& action) {
    if (!enterObjects())
        return GetLastError();
    DWORD error = ERROR_INVALID_PARAMETER;
    KernelObject* object = name == nullptr || *name == '\0' ? nullptr : findObject(name, error);
    if (object == nullptr)
        return error;
    struct Reference {
        KernelObject& object;
        ~Reference() { object.dropReference(); }
    } const reference{*object};
    return action(*object);
}

} // namespace

DWORD querySecurity(HANDLE object, ObjectSecurity& security) {
    return withHandle(object, [&](KernelObject& found) { return query(found, security); });
}

DWORD querySecurity(const char* name, ObjectSecurity& security) {
    return withName(name, [&](KernelObject& found) { return query(found, security); });
}

DWORD changeSecurity(HANDLE object, const ObjectSecurity& security) {
    return withHandle(object, [&](KernelObject& found) { return change(found, security); });
}

DWORD changeSecurity(const char* name, const ObjectSecurity& security) {
    return withName(name, [&](KernelObject& found) { return change(found, security); });
}

} // namespace wd

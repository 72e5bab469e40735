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
DWORD change(KernelObject& object, const SecurityEdit& edit) {
    ObjectSecurity security;
    DWORD error = query(object, security);
    const bool everybodyBefore = security.everybody;
    if (error == ERROR_SUCCESS)
        error = edit(security);
    if (error != ERROR_SUCCESS)
        return error;
    if (security.sddl.size() > ObjectSecurity::kTextLimit)
        return ERROR_INSUFFICIENT_BUFFER;
    if (object.isNamed() && security.everybody != everybodyBefore) {
        const mode_t mode = security.everybody ? ObjectPlan::kEverybody : object.space()->creatorsMode();
        error = object.file().changeMode(mode);
        if (error != ERROR_SUCCESS)
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

DWORD changeSecurity(HANDLE object, const SecurityEdit& edit) {
    return withHandle(object, [&](KernelObject& found) { return change(found, edit); });
}

DWORD changeSecurity(const char* name, const SecurityEdit& edit) {
    return withName(name, [&](KernelObject& found) { return change(found, edit); });
}

} // namespace wd

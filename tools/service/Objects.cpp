#include "Objects.h"

#include "LayerError.h"

namespace wdlt {
namespace {

/* A null DACL: everybody has access. Points into itself, so it must not be moved. */
class OpenToAll {
  public:
    OpenToAll() {
        if (InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) == FALSE ||
            SetSecurityDescriptorDacl(&m_descriptor, TRUE, nullptr, FALSE) == FALSE)
            throw LayerError("security descriptor", static_cast<LONG>(GetLastError()));
        m_attributes = {sizeof m_attributes, &m_descriptor, FALSE};
    }
    OpenToAll(const OpenToAll&) = delete;
    OpenToAll& operator=(const OpenToAll&) = delete;
    SECURITY_ATTRIBUTES* get() { return &m_attributes; }

  private:
    SECURITY_DESCRIPTOR m_descriptor{};
    SECURITY_ATTRIBUTES m_attributes{};
};

/* `create` takes the security attributes and the full name. */
template <class Create>
Created<Object> createNamed(const std::string& name, Create create) {
    OpenToAll security;
    const std::string whole = "Global\\" + name;
    Object object(create(security.get(), whole.c_str()));
    const DWORD code = GetLastError();
    if (object == nullptr)
        throw LayerError(whole, static_cast<LONG>(code));
    return {std::move(object), code == ERROR_ALREADY_EXISTS};
}

} // namespace

Created<Object> createEvent(const std::string& name) {
    return createNamed(
        name, [](LPSECURITY_ATTRIBUTES security, LPCSTR whole) { return CreateEventA(security, FALSE, FALSE, whole); });
}

Created<Memory> createMemory(const std::string& name, DWORD bytes) {
    const auto mapping = createNamed(name, [bytes](LPSECURITY_ATTRIBUTES security, LPCSTR whole) {
        return CreateFileMappingA(INVALID_HANDLE_VALUE, security, PAGE_READWRITE, 0, bytes, whole);
    });
    Memory view(static_cast<BYTE*>(MapViewOfFile(mapping.object.get(), FILE_MAP_ALL_ACCESS, 0, 0, bytes)));
    if (view == nullptr)
        throw LayerError(name, static_cast<LONG>(GetLastError()));
    return {std::move(view), mapping.wasThere};
}

HeldMutex takeIfFree(const std::string& name) {
    Object mutex = createNamed(name, [](LPSECURITY_ATTRIBUTES security, LPCSTR whole) {
                       return CreateMutexA(security, FALSE, whole);
                   }).object;
    const DWORD result = WaitForSingleObject(mutex.get(), 0);
    return HeldMutex(result == WAIT_OBJECT_0 || result == WAIT_ABANDONED ? mutex.release() : nullptr);
}

Object createLatch() {
    Object latch(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    if (latch == nullptr)
        throw LayerError("event", static_cast<LONG>(GetLastError()));
    return latch;
}

} // namespace wdlt

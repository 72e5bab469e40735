#include "LayerDoubles.h"

#include <platform/robust.h>
#include <platform/win32.h>

#include <dlfcn.h>

#include <atomic>
#include <map>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace {

struct Record {
    std::map<HANDLE, std::string> names;
    std::vector<std::string> calls;
};

thread_local std::optional<Record> t_record;
struct MappingMade {
    std::string nameEnd;
    std::function<void()> happens;
};
thread_local MappingMade t_mappingMade;
std::atomic<int> g_refused{-1};

bool isRefused(layer_doubles::Refused what) {
    return g_refused == static_cast<int>(what);
}

template <class Function>
Function* layers(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define WDLT_LAYERS(name) (layers<std::remove_reference_t<decltype(::name)>>(#name))

void note(const char* call, HANDLE object, const std::string& more = {}) {
    if (t_record && t_record->names.contains(object))
        t_record->calls.push_back(std::string(call).append(" ").append(t_record->names[object]).append(more));
}

} // namespace

HANDLE OpenEventA(DWORD access, BOOL inherit, LPCSTR name) {
    static const auto real = WDLT_LAYERS(OpenEventA);
    HANDLE const event = real(access, inherit, name);
    if (t_record) {
        const DWORD error = GetLastError(); // noting may lose it
        t_record->calls.push_back(std::string("OpenEvent ").append(name));
        if (event != nullptr)
            t_record->names[event] = name;
        SetLastError(error);
    }
    return event;
}

HANDLE CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES attributes, DWORD protection, DWORD sizeHigh,
                          DWORD sizeLow, LPCSTR name) {
    static const auto real = WDLT_LAYERS(CreateFileMappingA);
    HANDLE const mapping = real(file, attributes, protection, sizeHigh, sizeLow, name);
    const DWORD error = GetLastError();
    if (t_mappingMade.happens && mapping != nullptr && error != ERROR_ALREADY_EXISTS &&
        std::string_view(name).ends_with(t_mappingMade.nameEnd))
        std::exchange(t_mappingMade.happens, nullptr)();
    SetLastError(error);
    return mapping;
}

BOOL ResetEvent(HANDLE event) {
    static const auto real = WDLT_LAYERS(ResetEvent);
    note("ResetEvent", event);
    return real(event);
}

BOOL SetEvent(HANDLE event) {
    static const auto real = WDLT_LAYERS(SetEvent);
    note("SetEvent", event);
    return real(event);
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) {
    static const auto real = WDLT_LAYERS(WaitForSingleObject);
    note("WaitForSingleObject", object, std::string(" ").append(std::to_string(milliseconds)));
    return real(object, milliseconds);
}

DWORD WdWaitForEvent(HANDLE event, DWORD role, DWORD milliseconds, WD_LOOK look, void* context) {
    static const auto real = WDLT_LAYERS(WdWaitForEvent);
    note("WdWaitForEvent", event, std::string(" ").append(std::to_string(milliseconds)));
    return real(event, role, milliseconds, look, context);
}

LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, std::size_t bytes) {
    static const auto real = WDLT_LAYERS(MapViewOfFile);
    return isRefused(layer_doubles::Refused::Views) ? nullptr : real(mapping, access, offsetHigh, offsetLow, bytes);
}

void Sleep(DWORD milliseconds) {
    static const auto real = WDLT_LAYERS(Sleep);
    if (t_record)
        t_record->calls.push_back(std::string("Sleep ").append(std::to_string(milliseconds)));
    real(milliseconds);
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor,
                                                          LPDWORD size) {
    static const auto real = WDLT_LAYERS(ConvertStringSecurityDescriptorToSecurityDescriptorA);
    if (isRefused(layer_doubles::Refused::Labels) && std::string_view(text).starts_with("S:")) {
        SetLastError(ERROR_INVALID_ACL);
        return FALSE;
    }
    return real(text, revision, descriptor, size);
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                          PSECURITY_DESCRIPTOR* descriptor, LPDWORD size) {
    static const auto real = WDLT_LAYERS(ConvertStringSecurityDescriptorToSecurityDescriptorW);
    if (isRefused(layer_doubles::Refused::Labels) && std::u16string_view(text).starts_with(u"S:")) {
        SetLastError(ERROR_INVALID_ACL);
        return FALSE;
    }
    return real(text, revision, descriptor, size);
}

BOOL ConvertStringSidToSidA(LPCSTR text, PSID* sid) {
    static const auto real = WDLT_LAYERS(ConvertStringSidToSidA);
    if (isRefused(layer_doubles::Refused::Sids)) {
        SetLastError(ERROR_INVALID_SID);
        return FALSE;
    }
    return real(text, sid);
}

namespace layer_doubles {

Recording::Recording() {
    t_record.emplace();
}

Recording::~Recording() {
    t_record.reset();
}

const std::vector<std::string>& Recording::calls() const {
    return t_record->calls;
}

Refusal::Refusal(Refused what) {
    g_refused = static_cast<int>(what);
}

Refusal::~Refusal() {
    g_refused = -1;
}

WhenMappingIsMade::WhenMappingIsMade(std::string nameEnd, std::function<void()> happens) {
    t_mappingMade = {std::move(nameEnd), std::move(happens)};
}

WhenMappingIsMade::~WhenMappingIsMade() {
    t_mappingMade = {};
}

} // namespace layer_doubles

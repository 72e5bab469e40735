#include "LayerDoubles.h"

#include <platform/robust.h>
#include <platform/win32.h>

#include <dlfcn.h>

#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace {

thread_local std::optional<std::vector<std::string>> t_calls;
struct MappingMade {
    std::string nameEnd;
    std::function<void()> happens;
};
thread_local MappingMade t_mappingMade;

template <class Function>
Function* layers(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define WDLT_LAYERS(name) (layers<std::remove_reference_t<decltype(::name)>>(#name))

void note(std::string call) {
    if (t_calls)
        t_calls->push_back(std::move(call));
}

} // namespace

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
    note("ResetEvent");
    return real(event);
}

BOOL SetEvent(HANDLE event) {
    static const auto real = WDLT_LAYERS(SetEvent);
    note("SetEvent");
    return real(event);
}

DWORD WdWaitForEvent(HANDLE event, DWORD role, DWORD milliseconds, WD_LOOK look, void* context) {
    static const auto real = WDLT_LAYERS(WdWaitForEvent);
    note("WdWaitForEvent " + std::to_string(milliseconds));
    return real(event, role, milliseconds, look, context);
}

void Sleep(DWORD milliseconds) {
    static const auto real = WDLT_LAYERS(Sleep);
    note("Sleep " + std::to_string(milliseconds));
    real(milliseconds);
}

namespace layer_doubles {

Recording::Recording() {
    t_calls.emplace();
}

Recording::~Recording() {
    t_calls.reset();
}

const std::vector<std::string>& Recording::calls() const {
    return *t_calls;
}

WhenMappingIsMade::WhenMappingIsMade(std::string nameEnd, std::function<void()> happens) {
    t_mappingMade = {std::move(nameEnd), std::move(happens)};
}

WhenMappingIsMade::~WhenMappingIsMade() {
    t_mappingMade = {};
}

} // namespace layer_doubles

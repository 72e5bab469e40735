// Stands in for the trace library: appends the record it is started with and a letter for each call to the file named
// by TRACE_RECORD. TRACE_FAILS names what fails.
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

void record(const char* data, std::size_t size) {
    std::ofstream(std::getenv("TRACE_RECORD"), std::ios::binary | std::ios::app).write(data, static_cast<long>(size));
}

bool fails(const char* what) {
    const char* const named = std::getenv("TRACE_FAILS");
    return named != nullptr && std::strcmp(named, what) == 0;
}

int theHandle = 0;

} // namespace

#define TRACE_ENTRY extern "C" __attribute__((visibility("default")))

TRACE_ENTRY int WdDbgInitialize(void** handle, const void* config) {
    record(static_cast<const char*>(config), 2148);
    record("I ", 2);
    *handle = fails("handle") ? nullptr : &theHandle;
    return fails("initialize") ? 1 : 0;
}

TRACE_ENTRY int WdDbgUninitialize(void* handle) {
    record("U ", handle == &theHandle ? 2 : 0);
    return 0;
}

TRACE_ENTRY int WdDbgTrace(void* handle, const void*, const char16_t*) {
    record("T ", handle == &theHandle ? 2 : 0);
    return fails("trace") ? 1 : 0;
}

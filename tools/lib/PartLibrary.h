/* What few verbs need is in libraries of their own, so that the others don't load what it takes. */
#pragma once

#include "LayerError.h"

#include <platform/loader.h>
#include <string>

namespace wdlt {

/* What NameCalls of libName.so returns; it stays loaded for the rest of the process. */
template <class Calls>
const Calls& partLibrary(const std::string& name) {
    auto* const library = LoadLibraryA((name + ".dll").c_str());
    using Get = const Calls* (*)();
    const auto get =
        library == nullptr ? nullptr : reinterpret_cast<Get>(GetProcAddress(library, (name + "Calls").c_str()));
    if (get == nullptr)
        throw LayerError("lib" + name + ".so (it belongs beside libWdltPlatform.so, or into its folder wdltcfg)",
                         static_cast<LONG>(GetLastError()));
    return *get();
}

} // namespace wdlt

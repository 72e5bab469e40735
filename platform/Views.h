// The views of mappings that this process has: addresses that callers were given. Each mapping is mapped once, so a
// view is an address in it and a count. Any thread.
#pragma once

#include "KernelObject.h"

namespace wd {

// A view more of a mapping; it keeps the object alive.
void addView(KernelObject& mapping);
// A view less; false for an address that isn't one.
bool removeView(const void* address);

} // namespace wd

// This process's views of mappings: addresses that callers were given. Each mapping is mapped once, so a view is an
// address in it and a count. Any thread.
#pragma once

#include "KernelObject.h"

#include <unordered_set>

namespace wd {

// Adds a view of a mapping, which keeps the object alive.
void addView(KernelObject& mapping);
// Removes a view; false for an address that isn't one.
bool removeView(const void* address);
// The mappings of which a child of a fork has a view that isn't another thread's own (beginOwnHandles).
std::unordered_set<const KernelObject*> viewedInChild();

} // namespace wd

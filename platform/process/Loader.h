// Modules as the C library knows them, for the areas of the layer that deal with them.
#pragma once

#include <filesystem>

struct link_map;

namespace wd {

// The module that `address` lies in, null when it lies in none.
link_map* moduleOf(const void* address);

// Where the layer's own library stands: libraries named without a folder are looked for there first.
std::filesystem::path ownFolder();

} // namespace wd

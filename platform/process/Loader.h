// Modules as the C library knows them, for the areas of the layer that deal with them.
#pragma once

#include <filesystem>

struct link_map;

namespace wd {

// The module that contains `address`; null when none does.
link_map* moduleOf(const void* address);

// The folder of the layer's own library: libraries named without a folder are looked for there first.
std::filesystem::path ownFolder();

} // namespace wd

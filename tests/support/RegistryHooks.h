// What the hooked calls of the registry ask; how a call is hooked differs by system.
#pragma once

#include <string>
#include <string_view>

namespace registry_hooks {

// `path`: of a key, or a value's name, in either width; null is an empty one.
bool isRefused(std::string_view call, const std::string& path);
template <class Char>
bool isRefused(std::string_view call, const Char* path) {
    std::string name;
    for (; path != nullptr && *path != 0; ++path)
        name.push_back(static_cast<char>(*path));
    return isRefused(call, name);
}

bool isFailingWrite();
void afterRead(const char* name);

} // namespace registry_hooks

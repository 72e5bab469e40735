// Names of the kernel objects that the processes of all sessions share.
#pragma once

#include <span>
#include <string>

// "Global\" and the name; the name alone on the one system without sessions.
std::string GlobalObjectName(const char* name);
// The same into a caller's buffer, cut to fit and null-terminated.
void GlobalObjectName(const char* name, std::span<char, 260> buffer);

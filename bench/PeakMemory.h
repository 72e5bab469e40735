#pragma once

#include <cstdio>
#include <cstring>

namespace bench {

// Writes this process's peak resident memory in KiB to stdout, by the kernel's own count.
inline void printPeakMemory() {
    std::FILE* const status = std::fopen("/proc/self/status", "r");
    char line[256];
    while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr)
        if (long kib = 0; std::sscanf(line, "VmHWM: %ld", &kib) == 1)
            std::printf("%ld\n", kib);
    if (status != nullptr)
        std::fclose(status);
}

} // namespace bench

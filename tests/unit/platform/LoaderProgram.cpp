// Ends in the ways a process can end, with the probe loaded at the start (by the link) or later (by this program).
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <thread>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    const char* const how = argv[2];
    void* const probe = std::strcmp(argv[1], "-") == 0 ? nullptr : dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
    if (std::strcmp(how, "close") == 0 && (probe == nullptr || dlclose(probe) != 0))
        return 3;
    if (std::strcmp(how, "thread") == 0)
        std::thread([] { std::exit(0); }).join();
    return 0;
}

// The program that replaces another by exec in a test: object_program <descriptor> <mutex>. Creates the mutex, if there
// is a name, sends a byte to the descriptor when that is done, and waits to be killed.
#include <platform/sync.h>

#include <cstdlib>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3 || (*argv[2] != '\0' && CreateMutexA(nullptr, TRUE, argv[2]) == nullptr))
        return 1;
    if (write(std::atoi(argv[1]), "", 1) != 1)
        return 1;
    for (;;)
        pause();
}

// A program that a test starts to have a stranger use kernel objects: object_program <descriptor> <mutex> <how>.
// Makes the mutex and takes it if it is new, then sends what came of it to the descriptor: 'c' created, 'j' joined,
// 'f' failed. How it goes on: "hold" waits to be killed, "end" ends as programs do, "idle" waits without having made
// anything ('i').
#include <platform/sync.h>

#include <cstdlib>
#include <string_view>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const std::string_view how = argv[3];
    char sent = 'i';
    if (how != "idle") {
        const HANDLE mutex = CreateMutexA(nullptr, TRUE, argv[2]);
        const bool joined = GetLastError() == ERROR_ALREADY_EXISTS;
        sent = mutex == nullptr ? 'f' : joined ? 'j' : 'c';
    }
    if (write(std::atoi(argv[1]), &sent, 1) != 1)
        return 1;
    while (how != "end")
        pause();
    return 0;
}

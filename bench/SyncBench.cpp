// Locks between processes, compared with the C library's process-shared ones, with 1, 2, 4 and 8 processes using the
// same object. Each figure is the time of the whole run divided by the operations of all processes.
#include "RWLock.h"
#include "Support.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <pthread.h>
#include <semaphore.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kOperations = 20'000; // per process and run
constexpr int kProcesses[] = {1, 2, 4, 8};

// Shared by all processes of this program.
struct Shared {
    pthread_mutex_t mutex;
    pthread_rwlock_t lock;
    sem_t there;
    sem_t back;
    std::atomic<int> ready;
    std::atomic<bool> go;
};

Shared& shared() {
    static auto& memory = *[] {
        void* place = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (place == MAP_FAILED)
            std::abort();
        auto* made = static_cast<Shared*>(place);
        pthread_mutexattr_t mutexKind;
        pthread_mutexattr_init(&mutexKind);
        pthread_mutexattr_setpshared(&mutexKind, PTHREAD_PROCESS_SHARED);
        pthread_mutex_init(&made->mutex, &mutexKind);
        pthread_rwlockattr_t lockKind;
        pthread_rwlockattr_init(&lockKind);
        pthread_rwlockattr_setpshared(&lockKind, PTHREAD_PROCESS_SHARED);
        pthread_rwlock_init(&made->lock, &lockKind);
        sem_init(&made->there, 1, 0);
        sem_init(&made->back, 1, 0);
        return made;
    }();
    return memory;
}

// `prepare` runs untimed in each process, gets the process's number and returns the operation to be timed.
using Operation = std::function<void()>;
using Prepare = std::function<Operation(int process)>;

double runOnce(int processes, const Prepare& prepare) {
    shared().ready = 0;
    shared().go = false;
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const Operation operation = prepare(process);
            ++shared().ready;
            while (!shared().go)
                usleep(100);
            for (int i = 0; i < kOperations; ++i)
                operation();
            _exit(0);
        }
        children.push_back(child);
    }
    while (shared().ready < processes)
        usleep(100);
    const auto begin = std::chrono::steady_clock::now();
    shared().go = true;
    for (const pid_t child : children)
        waitpid(child, nullptr, 0);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    return took.count() / (static_cast<double>(processes) * kOperations);
}

void measure(benchmark::State& state, const Prepare& prepare, int processes) {
    for (auto _ : state)
        state.SetIterationTime(runOnce(processes, prepare));
}

Operation ofLock(void (*use)(CWdRWLock&)) {
    auto* lock = new CWdRWLockEx; // lives as long as its process
    if (!lock->Initialize("bench"))
        std::abort();
    return [=] { use(*lock); };
}

Operation readLock(int) {
    return ofLock([](CWdRWLock& lock) { const CWdRWReadLock hold(&lock); });
}
Operation writeLock(int) {
    return ofLock([](CWdRWLock& lock) { const CWdRWWriteLock hold(&lock); });
}
Operation pthreadReadLock(int) {
    return [] {
        pthread_rwlock_rdlock(&shared().lock);
        pthread_rwlock_unlock(&shared().lock);
    };
}
Operation pthreadWriteLock(int) {
    return [] {
        pthread_rwlock_wrlock(&shared().lock);
        pthread_rwlock_unlock(&shared().lock);
    };
}

// As the library does it in an operation: the mutex is created for a single use.
Operation mutexMadeAndClosed(int) {
    return [] {
        HANDLE mutex = CreateMutexA(nullptr, FALSE, "Global\\bench_mutex");
        WaitForSingleObject(mutex, INFINITE);
        ReleaseMutex(mutex);
        CloseHandle(mutex);
    };
}
Operation mutexKept(int) {
    HANDLE mutex = CreateMutexA(nullptr, FALSE, "Global\\bench_kept");
    return [=] {
        WaitForSingleObject(mutex, INFINITE);
        ReleaseMutex(mutex);
    };
}
Operation pthreadMutex(int) {
    return [] {
        pthread_mutex_lock(&shared().mutex);
        pthread_mutex_unlock(&shared().mutex);
    };
}

// Two processes: each waits for the other's event, then sets its own.
Operation eventBackAndForth(int process) {
    HANDLE there = CreateEventA(nullptr, FALSE, FALSE, "bench_there");
    HANDLE back = CreateEventA(nullptr, FALSE, FALSE, "bench_back");
    if (process == 0)
        return [=] {
            SetEvent(there);
            WaitForSingleObject(back, INFINITE);
        };
    return [=] {
        WaitForSingleObject(there, INFINITE);
        SetEvent(back);
    };
}
Operation semaphoreBackAndForth(int process) {
    if (process == 0)
        return [] {
            sem_post(&shared().there);
            sem_wait(&shared().back);
        };
    return [] {
        sem_wait(&shared().there);
        sem_post(&shared().back);
    };
}

struct Subject {
    const char* name;
    Operation (*prepare)(int);
    const char* beside;
    Operation (*prepareBeside)(int);
};

constexpr Subject kSubjects[] = {
    {"readLock", readLock, "pthreadReadLock", pthreadReadLock},
    {"writeLock", writeLock, "pthreadWriteLock", pthreadWriteLock},
    {"mutexMadeAndClosed", mutexMadeAndClosed, "pthreadMutex", pthreadMutex},
    {"mutexKept", mutexKept, "pthreadMutexAgain", pthreadMutex},
};

void add(std::string name, const Prepare& prepare, int processes) {
    name.append("_").append(std::to_string(processes));
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { measure(state, prepare, processes); })
        ->UseManualTime()
        ->Iterations(5);
}

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("process");
    for (const Subject& subject : kSubjects)
        for (const int processes : kProcesses) {
            add(subject.name, subject.prepare, processes);
            add(subject.beside, subject.prepareBeside, processes);
        }
    add("eventBackAndForth", eventBackAndForth, 2);
    add("semaphoreBackAndForth", semaphoreBackAndForth, 2);
    return bench::run(argc, argv);
}

#include "FaultWalk.h"

#include "Child.h"
#include "Tree.h"

#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace walk {
namespace {

constexpr unsigned kLimitSeconds = 10; // for what takes milliseconds
constexpr int kMostFailures = 3;       // of one operation, before its walk ends
constexpr std::int32_t kThrew = 1;

// How a process of the walk ended; what a signal makes of it stands behind.
enum Ending : int { kWell, kNotStored, kRefused, kNotWhole };

std::string told(int ending) {
    switch (ending) {
    case kWell:
        return "went well";
    case kNotStored:
        return "doesn't find what was told as stored";
    case kRefused:
        return "is refused";
    case kNotWhole:
        return "finds a key that is listed and can't be opened";
    case Child::kSignal + SIGALRM:
        return "hangs";
    default:
        return "ended with " + std::to_string(ending);
    }
}

bool isWhole(const std::string& key) {
    for (const std::string& name : tree::subkeys(key)) {
        const std::string below = key + "\\" + name;
        HKEY handle = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, below.c_str(), 0, KEY_READ, &handle) != 0)
            return false;
        RegCloseKey(handle);
        if (!isWhole(below))
            return false;
    }
    return true;
}

struct Report {
    std::int32_t status;
    bool wasMet;
};

// The process that the fault happens to. It stays until the others have done theirs, with whatever it has kept, and
// then makes the operation once more.
int disturbed(const Operation& operation, const Fault& fault, int point, Report& report, const Pipe& done,
              const Pipe& others) {
    alarm(kLimitSeconds);
    std::optional<LoadedLibrary> library;
    if (!operation.loadsInside)
        library.emplace();
    const auto make = [&] {
        report.wasMet = fault.meet(point, [&] {
            try {
                if (operation.loadsInside)
                    library.emplace();
                report.status = operation.call(*library);
            } catch (const std::exception&) {
                report.status = kThrew;
            }
        });
    };
    if (operation.onFreshThread) {
        operation.call(*library);
        std::thread(make).join();
    } else
        make();
    alarm(0);
    done.signal();
    others.await();
    alarm(kLimitSeconds);
    if (!library)
        library.emplace();
    const auto ends = std::chrono::steady_clock::now() + std::chrono::seconds(kLimitSeconds / 2);
    while (operation.call(*library) != WDLT_OK) {
        // A library that couldn't be attached tries again a second later.
        if (!operation.loadsInside || std::chrono::steady_clock::now() > ends)
            return kRefused;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return kWell;
}

int undisturbed(const Operation& operation, const Report& report) {
    alarm(kLimitSeconds);
    const LoadedLibrary library;
    if (report.status == WDLT_OK && !operation.isStored(library))
        return kNotStored;
    if (operation.call(library) != WDLT_OK)
        return kRefused;
    return isWhole("SOFTWARE") ? kWell : kNotWhole;
}

// What went wrong at the point; empty when nothing did. `wasMet`: there is a next point.
std::string walkPoint(const Operation& operation, const Fault& fault, int point, bool& wasMet) {
    wasMet = false;
    if (Child([&] { return operation.layDown == nullptr ? 0 : (operation.layDown(), 0); }).wait() != 0)
        return "the tree can't be laid down";
    const Shared<Report> report;
    Pipe done;
    Pipe others;
    Child first([&] {
        others.closeSender();
        return disturbed(operation, fault, point, *report, done, others);
    });
    done.closeSender();
    if (!done.await()) {
        wasMet = true;
        return "the process itself " + told(first.wait());
    }
    wasMet = report->wasMet;
    if (!wasMet && report->status != WDLT_OK)
        return "undisturbed it gives " + std::to_string(report->status);
    const int second = Child([&] { return undisturbed(operation, *report); }).wait();
    others.closeSender();
    if (second != kWell)
        return "status " + std::to_string(report->status) + ", and another process " + told(second);
    const int again = first.wait();
    return again == kWell ? std::string() : "behind it the process itself " + told(again);
}

} // namespace

void walk(const Operation& operation, const Fault& fault, int stride) {
    int points = 0;
    int failures = 0;
    bool goesOn = true;
    for (int point = 0; goesOn && failures < kMostFailures; point += stride, ++points) {
        const std::string failure = walkPoint(operation, fault, point, goesOn);
        if (!failure.empty()) {
            ADD_FAILURE() << operation.name << ", " << fault.name << " " << point << ": " << failure;
            ++failures;
        }
    }
    std::printf("%s: %s at %d points, every %d\n", operation.name, fault.name, points, stride);
}

} // namespace walk

// Some calls of the layer as this program has them: its own definitions stand before the layer's, note the call while a
// test of the calling thread listens, and do the layer's work unless they are told to refuse.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace layer_doubles {

// The calls of this thread while the object lives: "OpenEvent <name>", "ResetEvent <name>", "SetEvent <name>",
// "WaitForSingleObject <name> <milliseconds>", "WdWaitForEvent <name> <milliseconds>", "Sleep <milliseconds>". Events
// are known by the name they were opened with.
class Recording {
  public:
    Recording();
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    const std::vector<std::string>& calls() const;
};

// What refuses, in all threads, while the object lives.
enum class Refused {
    Labels, // the conversion of descriptors with a label, with error 1336
    Sids,   // the conversion of SIDs, with error 1337
    Views,  // the mapping of memory
};
class Refusal {
  public:
    explicit Refusal(Refused what);
    ~Refusal();
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;
};

// What happens elsewhere while this thread makes the mapping whose name ends so, before its creator's next step.
class WhenMappingIsMade {
  public:
    WhenMappingIsMade(std::string nameEnd, std::function<void()> happens);
    ~WhenMappingIsMade();
    WhenMappingIsMade(const WhenMappingIsMade&) = delete;
    WhenMappingIsMade& operator=(const WhenMappingIsMade&) = delete;
};

} // namespace layer_doubles

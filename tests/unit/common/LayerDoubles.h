// Some calls of the layer as this program has them: its own definitions stand before the layer's, note the call while a
// test of the calling thread listens, and do the layer's work.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace layer_doubles {

// The calls of this thread while the object lives: "ResetEvent", "SetEvent", "WdWaitForEvent <milliseconds>",
// "Sleep <milliseconds>".
class Recording {
  public:
    Recording();
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    const std::vector<std::string>& calls() const;
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

// Interposes some calls of the layer: this program's own definitions record the call while a Recording exists on the
// calling thread, and forward it to the layer.
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

// While it lives: when this thread has created the mapping whose name ends in `nameEnd`, calls `happens` before the
// creator's next step.
class WhenMappingIsMade {
  public:
    WhenMappingIsMade(std::string nameEnd, std::function<void()> happens);
    ~WhenMappingIsMade();
    WhenMappingIsMade(const WhenMappingIsMade&) = delete;
    WhenMappingIsMade& operator=(const WhenMappingIsMade&) = delete;
};

} // namespace layer_doubles

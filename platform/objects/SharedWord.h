// The one word of a mutex, event or semaphore that several processes change, and the tag of its holder. Anybody who may
// open the object can write anything there: a value is just a number that is checked when it is used.
#pragma once

#include <platform/robust.h>

#include <atomic>
#include <cstdint>

namespace wd {

// A process of the home: its row in the process table and that row's generation. No two processes have the same tag.
using Tag = WD_TAG;

using SharedWord = std::atomic<std::uint64_t>;

// Lower half, on which waiters sleep: taken (1 bit), contended (1), role (2), abandoned (1), row (upper 16).
// Upper half: the row's generation; of a semaphore: its count.
// Not taken: free, signalled. Taken without a tag: an event that nobody took, not signalled.
inline constexpr std::uint64_t kTaken = 1;
inline constexpr std::uint64_t kContended = 2; // somebody may sleep: whoever frees the word wakes them
inline constexpr unsigned kRoleShift = 2;
inline constexpr std::uint64_t kRoleMask = std::uint64_t{3} << kRoleShift;
inline constexpr std::uint64_t kAbandoned = 16; // free, and its last holder ended without a release
inline constexpr unsigned kRowShift = 16;
inline constexpr unsigned kGenerationShift = 32;

constexpr Tag makeTag(std::uint32_t row, std::uint32_t generation) {
    return std::uint64_t{generation} << kGenerationShift | std::uint64_t{row & 0xFFFF} << kRowShift | kTaken;
}
constexpr std::uint32_t rowOf(Tag tag) {
    return static_cast<std::uint32_t>(tag & 0xFFFFFFFF) >> kRowShift;
}
constexpr std::uint32_t generationOf(Tag tag) {
    return static_cast<std::uint32_t>(tag >> kGenerationShift);
}
constexpr std::uint32_t roleOf(Tag tag) {
    return static_cast<std::uint32_t>((tag & kRoleMask) >> kRoleShift);
}
constexpr Tag withRole(Tag tag, std::uint32_t role) {
    return (tag & ~kRoleMask) | std::uint64_t{role & 3} << kRoleShift;
}
// The holder's tag, with the role; 0 when nobody holds it.
constexpr Tag takerOf(std::uint64_t word) {
    return (word & kTaken) != 0 ? word & ~kContended : 0;
}
// The readers of a lock, whoever they are: no process has row 0.
inline constexpr Tag kGroupTag = withRole(makeTag(0, 0), WD_ROLE_GROUP);
static_assert(kGroupTag == WD_GROUP_TAG);

constexpr std::uint32_t countOf(std::uint64_t word) {
    return static_cast<std::uint32_t>(word >> kGenerationShift);
}

} // namespace wd

/* A look at the home before a verb runs, so that what can't be told is never told wrong. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wdlt {

enum class HomeUse {
    Read,
    Change,
    Check,  /* as for reading; the registry isn't opened, since it may be damaged */
    Replace /* as for a change, likewise */
};

/* False where there is no home yet. One that can't be used so is a ToolError with its path: access denied, not a
   directory, a read-only file system, or damaged, the registry's file too. `path` gets the home's. Makes nothing. */
bool lookAtHome(std::string& path, HomeUse use);

/* Which directory a home is, which registry and which objects are in it. Whatever a process has open stays in those, also
   when one of them is replaced or removed: its answers are about the past then, and its locks are nobody else's. */
class HomeIdentity {
  public:
    explicit HomeIdentity(const std::string& home);
    /* What wasn't there at first may come. */
    bool isSame() const;

  private:
    struct Seen {
        std::string path;
        std::uint64_t device;
        std::uint64_t node;
    };
    std::vector<Seen> m_seen;
};

} // namespace wdlt

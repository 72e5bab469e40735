/* What the stream of a watch has told: takes its bytes as they come, and keeps how far each key's changes are known. */
#pragma once

#include "Json.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

class EtcdWatch {
  public:
    enum class End { None, Compacted, Lost };

    EtcdWatch(std::span<const std::string> keys, std::int64_t fromRevision);

    /* The stream's body: a request for each key, and each key has a watch of its own on it. */
    std::string requests() const;
    /* Messages are lines, however they are cut into pieces. Returns whether one told a change. Bytes after the end of
       the watch are ignored. */
    bool take(std::string_view bytes);
    /* Compares with what a look at the keys, in the same order, found in the store. Events come behind such a look or
       before it; that a change is told nowhere between two looks ends the watch. */
    void compare(std::int64_t storeRevision, std::span<const std::int64_t> modified);
    /* The stream has ended; without an error when its last message, which may be no whole line, says why. */
    void finish(const std::string& error);
    void lose(const std::string& why);

    End end() const { return m_end; }
    const std::string& why() const { return m_why; }
    std::int64_t revisionSeen() const;
    std::vector<std::string> keys() const;

  private:
    struct Watched {
        std::string key;
        std::int64_t complete; /* every change up to this revision was told */
        std::int64_t owed;     /* the change that the last look found */
    };

    bool takeMessage(std::string_view line);
    bool takeResult(const Json& result);

    std::vector<Watched> m_watched; /* the watch with number n is the one at n - 1 */
    std::int64_t m_told;            /* the highest revision of a change */
    std::string m_line;             /* of which the end is still to come */
    End m_end = End::None;
    std::string m_why;
};

} // namespace wdlt

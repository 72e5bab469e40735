/* What a fleet's store asks of one machine: documents as dump writes them, laid over one another: the base, those of the
   machine's groups in the order in which they were named, and its own. Any of them may be missing. */
#pragma once

#include "Document.h"
#include "Etcd.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wdlt {

struct Member {
    std::string machine;
    std::vector<std::string> groups;
};
/* A name that is one step of a key; a usage error otherwise. */
std::string keyStep(const std::string& what, const std::string& name);

/* The keys, behind the store's prefix, in the order in which their documents are laid. */
std::vector<std::string> documentKeys(const Member& member);
/* Where it tells how it stands. */
std::string statusKey(const std::string& machine);
inline constexpr const char* kBaseKey = "/base";
inline constexpr const char* kGroupKeys = "/group/";
inline constexpr const char* kMachineKeys = "/machine/";
inline constexpr const char* kStatusKeys = "/status/";

class Desired {
  public:
    Desired() = default;
    /* Under the names of their keys behind the prefix. A usage error for what isn't a JSON document. */
    Desired(const std::string& prefix, const Found& found);

    std::vector<Layer> layers() const;
    bool isEmpty() const { return m_documents.empty(); }

  private:
    struct Named {
        std::string name;
        Json document;
    };
    std::vector<Named> m_documents;
};

/* Which documents in which versions, with a digest of each: a store that was laid down anew counts from 1 again. */
std::string stampOf(const Found& found);
/* The newest in a stamp, 0 for none. */
std::int64_t newestIn(const std::string& stamp);
/* The newest of them, 0 for none. */
std::int64_t newestOf(const Found& found);

} // namespace wdlt

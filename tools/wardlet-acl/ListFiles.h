/* Which state of the settings and of the lists' files something was read from: taken before it is read, so that what
   changes meanwhile counts as a change. */
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace wdlt {

struct ListState {
    std::uint64_t generation; /* of the registry */
    std::array<std::string, 3> marks;

    bool operator==(const ListState&) const = default;
};

/* The files of the white, black and host lists, found anew when the registry has changed. */
class ListFiles {
  public:
    /* A ToolError when the settings can't be read. */
    ListState look();

  private:
    void find(std::uint64_t generation);

    std::uint64_t m_generation = 0;
    std::array<std::string, 3> m_paths; /* all empty before they are found */
};

} // namespace wdlt

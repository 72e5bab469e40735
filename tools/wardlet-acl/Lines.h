/* The lines of a descriptor, as many at a time as are waiting there. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

class Lines {
  public:
    /* The rest of a longer line is left out. */
    static constexpr std::size_t kMostBytes = 16384;

    explicit Lines(int descriptor);

    /* Waits for a whole line, then gives all that have come, which are valid until the next call. False at the end. */
    bool read(std::vector<std::string_view>& lines);

  private:
    void take(std::size_t bytes, std::vector<std::string_view>& lines);

    const int m_descriptor;
    std::string m_buffer;
    std::size_t m_begin = 0; /* of the line that isn't whole yet */
    std::size_t m_end = 0;
};

/* A failure is a ToolError. */
void writeAll(int descriptor, std::string_view bytes);

} // namespace wdlt

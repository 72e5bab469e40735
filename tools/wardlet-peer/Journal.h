/* What the peer heard, on its standard output: one JSON object a line, each flushed before the exchange goes on, so
   that whoever got an answer finds the line. Any thread. */
#pragma once

#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace wdlt {

class Journal {
  public:
    /* The time (UTC) and the kind, then the members of `rest`. */
    void tell(std::string_view kind, const nlohmann::ordered_json& rest);

  private:
    std::mutex m_order; /* a line is one line, and times don't go back */
};

} // namespace wdlt

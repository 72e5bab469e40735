/* Writes what the peer heard to its standard output: one JSON object per line, flushed before the exchange goes on, so
   that whoever got an answer finds the line. Thread-safe. */
#pragma once

#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace wdlt {

class Journal {
  public:
    /* Writes the time (UTC) and the kind, then the members of `rest`. */
    void tell(std::string_view kind, const nlohmann::ordered_json& rest);

  private:
    std::mutex m_order; /* keeps lines whole and in the order of their times */
};

} // namespace wdlt

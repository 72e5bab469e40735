/* How a tool ends: the exit statuses and the one exception that carries a message for the user up to RunTool. */
#pragma once

#include <stdexcept>
#include <string>

namespace wdlt {

enum class ExitStatus : int {
    Success = 0,
    Failure = 1, /* the work couldn't be done */
    Usage = 2,   /* the request makes no sense as given */
};

class ToolError : public std::runtime_error {
  public:
    ToolError(ExitStatus status, const std::string& message) : std::runtime_error(message), m_status(status) {}
    ExitStatus status() const { return m_status; }

  private:
    ExitStatus m_status;
};

} // namespace wdlt

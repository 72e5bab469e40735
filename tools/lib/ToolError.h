/* How a tool ends: the exit statuses and the one exception that carries a message for the user up to RunTool. */
#pragma once

#include <stdexcept>
#include <string>

namespace wdlt {

enum class ExitStatus : int {
    Done = 0,    /* or yes */
    No = 1,      /* the answer to a question */
    Usage = 2,   /* the words or the input are wrong; nothing was tried */
    Unknown = 3, /* it can't be told, or isn't permitted */
    Untold = 4,  /* stored, but the service wasn't told */
    Failed = 5,  /* the library or the system failed; nothing changed */
    Partial = 6, /* failed half way; what was done has been printed */
};

class ToolError : public std::runtime_error {
  public:
    ToolError(ExitStatus status, const std::string& message) : std::runtime_error(message), m_status(status) {}
    ExitStatus status() const { return m_status; }

  private:
    ExitStatus m_status;
};

} // namespace wdlt

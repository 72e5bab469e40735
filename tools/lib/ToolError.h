/* How a tool ends: the exit statuses and the one exception that carries a message for the user up to RunTool. */
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace wdlt {

enum class ExitStatus : int {
    Done = 0,    /* or yes */
    No = 1,      /* the answer to a question */
    Usage = 2,   /* the words or the input are wrong; nothing was tried */
    Unknown = 3, /* it can't be told, or isn't permitted */
    Untold = 4,  /* stored, but the service wasn't told */
    Failed = 5,  /* the library or the system failed; nothing changed */
    Partial = 6, /* failed half way; what was done has been printed */
    Interrupted = 130,
};

/* What a script may want of an error besides its words; empty where it doesn't apply. */
struct ErrorPlace {
    std::string name = {};  /* of the library's status: "WDLT_E_REGISTRY" */
    std::string path = {};  /* the file or directory */
    std::string where = {}; /* the record, list, key or value */
};

class ToolError : public std::runtime_error {
  public:
    ToolError(ExitStatus status, const std::string& message, ErrorPlace place = {})
        : std::runtime_error(message), m_status(status), m_place(std::move(place)) {}
    ExitStatus status() const { return m_status; }
    const ErrorPlace& place() const { return m_place; }

  private:
    ExitStatus m_status;
    ErrorPlace m_place;
};

} // namespace wdlt

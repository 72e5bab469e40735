/* What is about to be replaced is kept in a folder of the home, as backup/2026-11-26T10-15-00: made when the first
   thing goes there, for its maker alone whatever the home's modes are. Failures are ToolErrors. */
#pragma once

#include "ToolError.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace wdlt {

class HomeCopy {
  public:
    explicit HomeCopy(std::string home) : m_home(std::move(home)) {}

    /* Empty while nothing is kept. */
    const std::string& path() const { return m_path; }
    /* Makes the folder. */
    const std::string& folder();
    void keepText(std::string_view name, std::string_view content);
    /* Both return the copy's path: the file's name with, of several, a number. A file is copied once. They do nothing,
       and the path is empty, when it isn't there. */
    std::string copyFile(const std::string& file);
    std::string moveFile(const std::string& file);

    /* The error of a change that was begun, with what is kept. */
    ToolError told(const ToolError& error, ExitStatus status) const;

  private:
    std::string m_home;
    std::string m_path;
    std::map<std::string, std::string> m_copies; /* by the path of the file */
};

} // namespace wdlt

/* Files of the install directory, opened through the layer, as the library opens its lists. */
#pragma once

#include <platform/files.h>
#include <string>

namespace wdlt {

/* The path of a file with a bare name. */
std::string installedFile(const std::string& name);

/* A file that is held open, shared with others as `share` says. */
class HeldList {
  public:
    /* A file that is there and can't be opened is a LayerError that names it. */
    HeldList(std::string path, DWORD share);
    ~HeldList();
    HeldList(const HeldList&) = delete;
    HeldList& operator=(const HeldList&) = delete;

    /* Empty for a file that isn't there. A failure is a LayerError. */
    std::string content() const;

  private:
    std::string m_path;
    HANDLE m_file;
};

} // namespace wdlt

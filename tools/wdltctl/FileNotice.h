/* The file system's notice of a change of the registry or in the install directory. The service's own notices go to one
   listener, for whose answer every writer waits: none for a spectator. */
#pragma once

#include <cstdint>
#include <string>

namespace wdlt {

/* Of the files that are there now: one that is replaced, or another install directory, takes a new notice. */
class FileNotice {
  public:
    FileNotice();
    ~FileNotice();
    FileNotice(const FileNotice&) = delete;
    FileNotice& operator=(const FileNotice&) = delete;

    /* Readable once something has changed; negative where the system has none left. */
    int descriptor() const { return m_descriptor; }
    /* It isn't readable until something changes again. */
    void drain() const;

  private:
    void watch(const std::string& path, std::uint32_t what) const;

    const int m_descriptor;
};

} // namespace wdlt

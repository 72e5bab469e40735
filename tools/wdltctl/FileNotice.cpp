#include "FileNotice.h"

#include "Installation.h"

#include <array>
#include <sys/inotify.h>
#include <unistd.h>

namespace wdlt {

FileNotice::FileNotice() : m_descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    watch(homePath() + "/registry/data.mdb", IN_MODIFY);
    watch(Installation::read().install, IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE);
}

FileNotice::~FileNotice() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void FileNotice::drain() const {
    std::array<char, 4096> notices{};
    while (m_descriptor >= 0 && ::read(m_descriptor, notices.data(), notices.size()) > 0) {
    }
}

void FileNotice::watch(const std::string& path, std::uint32_t what) const {
    if (m_descriptor >= 0 && !path.empty())
        ::inotify_add_watch(m_descriptor, path.c_str(), what);
}

} // namespace wdlt

// block PATTERN...: adds to the URL filter's black list. The list says with WDLT_E_BUFFER_SIZE that there is too little
// room, and how many there are. It is read, changed and written under the mutex of all changes. In C++.
#include <wdltcfg/wdltcfg.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <platform/win32.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void check(std::int32_t status, const char* what) {
    if (status != WDLT_OK)
        throw std::runtime_error(std::string(what) + ": " + wdltStatusText(status));
}

class Change {
  public:
    Change() : m_mutex(CreateMutexA(nullptr, FALSE, "Global\\wdlt_change_mutex")) {
        if (m_mutex == nullptr || WaitForSingleObject(m_mutex, INFINITE) == WAIT_FAILED)
            throw std::runtime_error("the lock of changes: error " + std::to_string(GetLastError()));
    }
    ~Change() {
        ReleaseMutex(m_mutex);
        CloseHandle(m_mutex);
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

  private:
    HANDLE m_mutex;
};

std::vector<WdpeUrlfUrlRecord> blackList() {
    std::vector<WdpeUrlfUrlRecord> urls(1);
    auto count = static_cast<std::int32_t>(urls.size());
    std::int32_t status = 0;
    while ((status = WdltUrlfReadRecordList(WDLT_LIST_BLACK, urls.data(), &count)) == WDLT_E_BUFFER_SIZE)
        urls.resize(static_cast<std::size_t>(count));
    if (status == WDLT_E_FILE_NOT_FOUND) // never written
        return {};
    check(status, "the list can't be read");
    urls.resize(static_cast<std::size_t>(count));
    return urls;
}

void add(std::vector<WdpeUrlfUrlRecord>& urls, const std::string& pattern) {
    const auto isSame = [&](const WdpeUrlfUrlRecord& url) { return pattern == url.szUrl; };
    if (pattern.empty() || pattern.size() >= sizeof(WdpeUrlfUrlRecord::szUrl))
        throw std::runtime_error("a pattern has 1 to 2083 bytes");
    if (std::any_of(urls.begin(), urls.end(), isSame))
        return;
    urls.emplace_back();
    std::memcpy(urls.back().szUrl, pattern.data(), pattern.size());
}

} // namespace

int main(int argc, char** argv) try {
    const Change change;
    auto urls = blackList();
    for (int i = 1; i < argc; ++i)
        add(urls, argv[i]);
    check(WdltUrlfWriteRecordList(WDLT_LIST_BLACK, urls.data(), static_cast<std::int32_t>(urls.size())), "not stored");
    std::printf("%zu on the black list\n", urls.size());
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}

#include "PrivacyMend.h"

#include "FreshDatabase.h"
#include "LayerError.h"
#include "LibraryStatus.h"
#include "PrivacyStore.h"

#include <algorithm>
#include <bit>
#include <fmt/format.h>
#include <map>
#include <platform/file_content.h>
#include <platform/files.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* 0, or why the file can't be opened. */
DWORD openError(const std::string& name) {
    HANDLE opened =
        CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
        return GetLastError();
    CloseHandle(opened);
    return ERROR_SUCCESS;
}

/* How often each item is searched for: once in each charset, unless it has no text. */
std::map<std::uint32_t, int> wantedPatterns(const PrivacyItems& store) {
    constexpr std::uint32_t kCounted = 0x7FFFFFFF; // the highest bit is no charset
    std::map<std::uint32_t, int> wanted;
    for (const PrivacyViewItem& item : store.items)
        if (item.szPrivacyData[0] != '\0')
            wanted[item.dwItemIndex] = std::popcount(store.head.dwCharSetEntry & kCounted);
    return wanted;
}

std::string faultOfContent(const PrivacyItems& store) {
    try {
        std::map<std::uint32_t, int> found;
        for (const PrivacySearchRecord& record : PrivacyPatterns::read().items)
            ++found[record.dwItemIndex];
        PrivacyExclusions::read();
        return found == wantedPatterns(store) ? "" : "doesn't hold the items that the registry has";
    } catch (const ToolError& error) {
        return fmt::format("damaged: {}", error.what());
    }
}

/* A write of items makes the search data and carries the exclusions over. */
std::int32_t writeBack(const PrivacyItems& store) {
    std::vector<PrivacyViewItem> items = store.items;
    items.reserve(1); // an empty list needs an address too
    return WdltPdpWriteItemList(items.data(), static_cast<std::int32_t>(items.size()));
}

} // namespace

void writeFreshDatabase(const std::string& path) {
    const std::string bytes = freshPrivacyDatabase();
    if (WdReplaceContent(path.c_str(), bytes.data(), static_cast<DWORD>(bytes.size())) == FALSE)
        throw LayerError(path, static_cast<LONG>(GetLastError()));
}

std::string databaseFault(const Installation& installation) {
    const PrivacyItems store = PrivacyItems::read();
    switch (const DWORD error = openError(installation.nameOf(kPrivacyDatabase))) {
    case ERROR_SUCCESS:
        return faultOfContent(store);
    case ERROR_FILE_NOT_FOUND:
        return "the privacy database isn't there";
    default:
        return layerErrorText(static_cast<LONG>(error));
    }
}

std::string mendDatabase(const Installation& installation, HomeCopy& kept, bool mayLoseExclusions) {
    const PrivacyItems store = PrivacyItems::read();
    const std::string database = installation.pathOf(kPrivacyDatabase);
    const std::string backup = installation.pathOf(kPrivacyBackup);
    const auto isMended = [&] { return writeBack(store) == WDLT_OK && faultOfContent(store).empty(); };
    const DWORD error = openError(installation.nameOf(kPrivacyDatabase));
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND)
        throw LayerError(database, static_cast<LONG>(error));
    std::string made = fmt::format("made anew from {} items", store.items.size());
    // Before the first write: that replaces the backup by the database.
    kept.copyFile(database);
    const std::string older = kept.copyFile(backup);
    if (error == ERROR_SUCCESS && isMended())
        return made;
    if (!older.empty() && WdCopyContent(older.c_str(), database.c_str()) != FALSE && isMended())
        return made + ", its exclusions taken from " + backup;
    if (error == ERROR_SUCCESS && !mayLoseExclusions)
        throw ToolError(ExitStatus::Failed, fmt::format("its exclusions can't be read, and stand nowhere else; a copy "
                                                        "is in {}",
                                                        kept.path()));
    writeFreshDatabase(database);
    checkStatus(writeBack(store), "privacy items");
    return error == ERROR_SUCCESS
               ? fmt::format("{}; its exclusions can't be read and are given up, the old file is in {}", made,
                             kept.path())
               : fmt::format("{}, without exclusions", made);
}

} // namespace wdlt

// Record files of the scan engines: a registry value has the file's name, and the file is in the install directory.
#pragma once

#include "RecordFile.h"
#include "WdCommon/EventLine.h"
#include "WdchHelper.h"

#include <cstdint>
#include <string>

namespace wdlt {

// An engine's log lines for failures to find a file.
struct ListFileReport {
    EventLine valueUnread = {}; // the value, the status
    EventLine defaultUsed = {}; // the default name
    EventLine noInstallPath = {};
};

struct ListFileName {
    const char* item;                  // the registry value
    const char* defaultName = nullptr; // for a value that can't be read; null: that is a failure
    bool isPath = false;               // used as it is; else the directory is stripped from it
};

// Appends the name to the install directory, which ends in a backslash. The store's status when the value can't be
// read; WDLT_E_GENERAL without an install directory.
[[nodiscard]] std::int32_t findListFile(WdchHelper& helper, const ListFileReport& report, const ListFileName& name,
                                        std::string& path);

// The type of a list, the first number of its record.
std::uint32_t listTypeOf(const void* record);

} // namespace wdlt

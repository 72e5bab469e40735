// Record files of the scan engines: a registry value names the file, the install directory is where it lies.
#pragma once

#include "RecordFile.h"
#include "WdCommon/EventLine.h"
#include "WdchHelper.h"

#include <cstdint>
#include <string>

namespace wdlt {

// An engine's lines for what goes wrong on the way to a file.
struct ListFileReport {
    EventLine valueUnread = {}; // the value, the status
    EventLine defaultUsed = {}; // the name that stands in
    EventLine noInstallPath = {};
};

struct ListFileName {
    const char* item;                  // the registry value
    const char* defaultName = nullptr; // for a value that can't be read; null: that is a failure
    bool isPath = false;               // stands as it is; else what is behind its last separator does
};

// The name directly behind the install directory, which ends in a backslash. A failure has the store's code;
// WDLT_E_GENERAL without an install directory.
[[nodiscard]] std::int32_t findListFile(WdchHelper& helper, const ListFileReport& report, const ListFileName& name,
                                        std::string& path);

// The type of a list, the first number of its record.
std::uint32_t listTypeOf(const void* record);

} // namespace wdlt

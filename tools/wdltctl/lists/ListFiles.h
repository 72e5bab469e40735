/* The files of the lists, as the settings name them. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

/* A text value of a key below the service's, in UTF-8; empty when it isn't there. */
std::string settingText(std::string_view key, std::string_view value);
/* The system's own path of a file that a setting names: X:\... is in the home. */
std::string systemPath(const std::string& named);

struct ListFile {
    std::string_view name; /* as on the command line */
    std::string path;      /* in UTF-8, as systemPath gives it; empty: no setting names it */
};
/* All of them, and the privacy database. A registry that can't be read is a ToolError. */
std::vector<ListFile> listFiles();

} // namespace wdlt

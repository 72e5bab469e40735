/* What `check` finds: each look adds its findings, with how they can be mended. */
#pragma once

#include "HomeCopy.h"
#include "Installation.h"

#include <functional>
#include <string>
#include <vector>

namespace wdlt {

struct Finding {
    std::string path; /* of a file or folder, or a key's full name */
    std::string what;
    bool isFault = true; /* something doesn't work or can be read by strangers; else it is only in the way */
    /* Returns what was done; a ToolError when that failed. Null: nothing can be done from here. */
    std::function<std::string()> mend = nullptr;
    const char* question = nullptr; /* asked before; null: it loses nothing */
    bool isMended = false;
};
using Findings = std::vector<Finding>;

/* Asks on a terminal; elsewhere nobody answers, and it isn't granted. */
bool isGranted(const std::string& question);

/* Whether the whole registry can be read, found out in a process of its own, since the database engine may end a
   process over damaged pages. Empty when it can, else what is wrong. A ToolError when that can't be told. To be called
   before this process has opened the registry. */
std::string registryFault(const std::string& home);

/* Records, handlers, lists and the privacy database, by reading each. `kept` and `installation` must outlive the
   findings. */
void lookAtSettings(Findings& findings, const Installation& installation, HomeCopy& kept);

/* Files and folders of the home, and those of the installation if it is known. */
void lookAtFiles(Findings& findings, const std::string& home, const Installation& installation, HomeCopy& kept);

} // namespace wdlt

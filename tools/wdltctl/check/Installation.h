/* The directories of the installation. Paths are the file system's own. */
#pragma once

#include "DataFile.h"

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

/* Of an install directory, with the way out. */
inline constexpr const char* kInstallIsGone =
    "the install directory isn't there: wdltctl set system install-path=DIR where it was moved, wdltctl init --upgrade "
    "makes it anew";

/* The path of a folder that is named as the registry has it, without a separator at the end; empty for an empty one. */
std::string folderIfSet(const std::string& narrowName);
std::string homePath();

struct Installation {
    /* As it is stored, in the system code page: a file's name stands directly behind it. */
    std::string prefix;
    /* The directories, without a separator at the end. Empty where the setting is. */
    std::string install;
    std::string temp;
    std::string log;

    /* As the settings say; a ToolError when they can't be read. */
    static Installation read();

    /* As the layer's calls take it; with its fresh name where the setting gives none. */
    std::string nameOf(const DataFile& file) const;
    /* The file's path likewise. */
    std::string pathOf(const DataFile& file) const;
};

/* A key with values below ProtocolHandler. */
struct HandlerKey {
    std::u16string name;
    std::uint32_t type;  /* 0: it has none that can be read, and is no handler */
    std::u16string scan; /* folder of its items */
};
std::vector<HandlerKey> allHandlerKeys();

/* Every text of the settings, without the folders in it: what isn't here is no file's name. */
std::set<std::string> allNames();

} // namespace wdlt

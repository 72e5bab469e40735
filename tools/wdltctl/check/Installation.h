/* The directories of the installation, and the files in them that settings give a name to. Paths are the file system's
   own. */
#pragma once

#include "RegText.h"

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

/* A file with data of the user's: a list, the privacy database. */
struct DataFile {
    std::string_view what; /* also its name in backups */
    std::string_view key;  /* of the setting that names it, below the service's */
    std::string_view value;
    std::string_view list = {}; /* the text list that it holds (TextLists.h); empty: none */
    std::uint32_t type = 0;     /* which of them */

    /* What a fresh installation calls it. */
    std::string_view freshName() const;
    /* As the setting says, without folders; the library's default where there is none, which may be no name. */
    std::string name() const;
    /* As it stands behind the install directory, in the system code page; `setting` is null where there is none. The
       fresh name where it gives none. */
    std::string narrowNameIn(const RegValue* setting) const;
};

std::span<const DataFile> allDataFiles();
extern const DataFile& kPrivacyDatabase;
extern const DataFile& kPrivacyBackup;
extern const DataFile& kAddressCache;

/* Of an install directory, with the way out. */
inline constexpr const char* kInstallIsGone =
    "the install directory isn't there: wdltctl set system install-path=DIR where it was moved, wdltctl init --upgrade "
    "makes it anew";

/* The path of a file or folder that is named as the registry has it. */
std::string pathOf(const std::string& narrowName);
/* The same without a separator at the end; empty for an empty one. */
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

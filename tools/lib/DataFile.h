/* The files in the install directory that settings give a name to. */
#pragma once

#include "RegText.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

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
    /* The same behind the install directory, as the layer's calls take it; as the setting says now. */
    std::string narrowNameBehind(const std::string& prefix) const;
};

std::span<const DataFile> allDataFiles();
extern const DataFile& kPrivacyDatabase;
extern const DataFile& kPrivacyBackup;
extern const DataFile& kAddressCache;

/* A path's last part, in UTF-8. */
std::string lastPart(const RegValue& path);

/* The path of a file or folder that is named as the registry has it. */
std::string pathOf(const std::string& narrowName);

} // namespace wdlt

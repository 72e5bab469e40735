/* The parts of an installation as init makes them: its directories, the tree, the locks of its lists. Uses the layer,
   not the library, whose writes need an existing tree. */
#pragma once

#include "RegText.h"

#include <optional>
#include <string>

namespace wdlt {

/* Of the settings' own key. */
inline constexpr const char16_t* kInstallValue = u"InstallPath";

/* Each ends in a backslash. */
struct Directories {
    std::u16string install;
    std::u16string temp;
    std::u16string log;

    /* Those of an install directory as a user types it. */
    static Directories below(const std::string& install);
    /* As the settings have them; nothing without an install directory. */
    static std::optional<Directories> stored();

    void make() const;
    void setIn(RegDocument& tree) const;
};

/* The tree of a fresh installation. */
RegDocument freshTree(const Directories& directories);
std::size_t valuesIn(const RegDocument& document);

/* What a newer version's tree has and the settings that are there lack: whole keys, and values. A handler whose
   protocol another key serves isn't missing. */
RegDocument missingFrom(const RegDocument& fresh);

/* Keys without values don't count: merely reading the plug-in manager's switches creates its key. */
bool holdsValues(const std::u16string& path);

/* Creates the locks that readers of the lists take, by reading each list once. Their files stay, so that a disk that
   fills up later doesn't stop readers. The results of the reads don't matter. */
void makeLocksOfLists();

} // namespace wdlt

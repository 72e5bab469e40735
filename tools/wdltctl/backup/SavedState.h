/* All that a backup holds of an installation: its tree and its files. */
#pragma once

#include "RegText.h"

#include <map>
#include <string>
#include <string_view>

namespace wdlt {

struct Directories;

struct SavedState {
    unsigned codePage = 0; /* of the texts in the files */
    std::string made;      /* when, in local time */
    RegDocument tree;
    std::map<std::string, std::string> files; /* the content of those that are there, by what they are (DataFile) */

    /* Of this home. The caller has the change lock; other programs write without it: a ToolError when they do so all
       the time. */
    static SavedState take();

    std::string pack() const;
    /* What isn't as `pack` makes it is a usage error. */
    static SavedState unpack(std::string_view bytes);

    /* To another install directory, with all directories that are below it. */
    void moveTo(const Directories& directories);
};

/* The install directory that a tree names, in the system code page; empty where it names none. */
std::string installIn(const RegDocument& tree);

struct NamedFile {
    std::string name; /* without the install directory, in the system code page */
    std::string path; /* the file system's own */
};
/* All files that a tree names, by what they are. A name that leads out of the install directory is a usage error. Empty
   without an install directory. */
std::map<std::string, NamedFile> filesNamedIn(const RegDocument& tree);

} // namespace wdlt

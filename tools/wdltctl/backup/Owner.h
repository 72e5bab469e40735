/* Which home an install directory belongs to. Two homes must not share one: each would write lists and a privacy
   database that the settings of the other don't fit. So both have a file that names the pair; a home that was copied
   finds its install directory belonging to the one that it was copied from. A directory that was copied, or whose home
   is gone or has another one now, belongs to nobody. */
#pragma once

#include <string>

namespace wdlt {

/* In a directory, and in a home. */
inline constexpr const char* kOwnerFile = ".wardlet-home";
inline constexpr const char* kInstalledFile = "installed";

/* The other home that the directory belongs to; else empty. All are paths of the file system, also below. */
std::string otherOwner(const std::string& home, const std::string& install);
/* "belongs to the home …", with the way out; empty when it belongs to no other home. */
std::string ownerWarning(const std::string& home, const std::string& install);
/* A ToolError with the path and those words. */
void refuseOthers(const std::string& home, const std::string& install);

/* Writes the mark in a directory that the settings will name: a ToolError when it can't be. Where this home has another
   one, that stays its own until takeInstall is called, when the settings do. */
void claimInstall(const std::string& home, const std::string& install);
/* Makes it this home's. Returns the path of the home that it belonged to and that is gone; else empty. What can't be
   written is left: a change needs no mark. */
std::string takeInstall(const std::string& home, const std::string& install);

/* Of this home, as its settings have it now; empty where they have none. */
std::string storedInstall();

} // namespace wdlt

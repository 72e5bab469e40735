/* Names of registry keys. Inside the tools a key is its path below HKEY_LOCAL_MACHINE, empty for the root itself. */
#pragma once

#include <string>
#include <string_view>

namespace wdlt {

inline constexpr std::u16string_view kRootName = u"HKEY_LOCAL_MACHINE";
/* The key of all settings. */
inline constexpr std::u16string_view kBasePath = u"SOFTWARE\\Halvermoor\\PLK\\Wardlet";

/* A key as a user types it: HKEY_LOCAL_MACHINE\..., HKLM\... or relative to HKEY_LOCAL_MACHINE; one trailing backslash
   is ignored. Slashes stand for backslashes unless there is a backslash too: then they are part of a name. Any other
   root is a usage error. */
std::u16string parseKeyArgument(std::string_view argument);
/* The full name, in UTF-8. */
std::string fullKeyName(std::u16string_view path);
std::u16string joinPath(std::u16string_view path, std::u16string_view name);

/* Ignores the case of ASCII letters only. */
bool equalsIgnoringCase(std::u16string_view a, std::u16string_view b);
bool equalsIgnoringCase(std::string_view a, std::string_view b);

} // namespace wdlt

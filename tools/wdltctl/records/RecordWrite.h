/* A record on its way to the library. */
#pragma once

#include "Records.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace wdlt {

/* A directory as it is stored: in full, with a separator at its end; any other text as it is. A usage error for what is
   no directory. */
std::string completeText(const Field& field, const std::string& text);

/* Refuses an install directory that belongs to another home; the second, as a usage error, one that isn't there too. */
void refuseOthersInstall(const std::string& path);
void checkInstall(const std::string& path);

/* Writes a record that was read and in which `meant` has been changed. Returns the library's status. */
std::int32_t writeRecord(const Record& record, const std::string& which, std::vector<BYTE> bytes,
                         std::span<const Field> meant);

} // namespace wdlt

// A new privacy database in the place of the old one: a copy of the old one first, then a temporary file, which takes
// the database's place when it is whole. Until then the database isn't touched; the copy stays after a failure, and
// nothing here ever reads it.
#pragma once

#include "BufferedFile.h"
#include "WdchHelper.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <string>

namespace wdlt {

class PrivacySwap {
  public:
    // The record's two names are put behind the install directory.
    PrivacySwap(WdchHelper& helper, const PrivacyControlData& control);
    // A temporary file that didn't get to replace() is deleted.
    ~PrivacySwap();
    PrivacySwap(const PrivacySwap&) = delete;
    PrivacySwap& operator=(const PrivacySwap&) = delete;

    // WDLT_E_FILE, for a database marked read-only too.
    [[nodiscard]] std::int32_t BackupDatabase();
    // WDLT_E_TEMP_FILE without a name, else WDLT_E_FILE; no file is left then.
    [[nodiscard]] std::int32_t OpenTempFileToWrite();
    BufferedFile& file() { return m_file; }
    // Closes the file and puts it in place. WDLT_E_FILE when that fails, and the file stays; WDLT_E_FILE also when the
    // copy of the old database can't be deleted. `operation` is whose lines tell.
    [[nodiscard]] std::int32_t replace(const char* operation);

    // Whether both names are texts without a separator, and two.
    static bool areFileNames(const PrivacyControlData& control);

  private:
    void discard();

    WdchHelper& m_helper;
    const std::string m_database;
    const std::string m_backup;
    std::string m_temporary; // empty: none is ours to delete
    BufferedFile m_file;
};

} // namespace wdlt

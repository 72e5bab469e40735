// Replaces the privacy database: first makes a backup of the old one, then a temporary file, which takes the database's
// place when it is complete. Until then the database isn't touched. After a failure the backup stays; nothing here ever
// reads it.
#pragma once

#include "BufferedFile.h"
#include "WdchHelper.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <string>

namespace wdlt {

class PrivacySwap {
  public:
    // Database and backup are in the install directory, under the record's two names.
    PrivacySwap(WdchHelper& helper, const PrivacyControlData& control);
    // Deletes the temporary file if replace() wasn't called.
    ~PrivacySwap();
    PrivacySwap(const PrivacySwap&) = delete;
    PrivacySwap& operator=(const PrivacySwap&) = delete;

    // WDLT_E_FILE when it fails, also for a database marked read-only.
    [[nodiscard]] std::int32_t BackupDatabase();
    // WDLT_E_TEMP_FILE when no name can be had, WDLT_E_FILE when the file can't be opened; neither leaves a file.
    [[nodiscard]] std::int32_t OpenTempFileToWrite();
    BufferedFile& file() { return m_file; }
    // Closes the file and puts it in place. WDLT_E_FILE when that fails, and the file stays; WDLT_E_FILE also when the
    // backup can't be deleted. Failures are logged in the name of `operation`.
    [[nodiscard]] std::int32_t replace(const char* operation);

    // Whether both names are terminated, have no separator, and differ.
    static bool areFileNames(const PrivacyControlData& control);

  private:
    void discard();

    WdchHelper& m_helper;
    const std::string m_database;
    const std::string m_backup;
    std::string m_temporary; // empty: nothing to delete
    BufferedFile m_file;
};

} // namespace wdlt

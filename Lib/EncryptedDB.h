// Record files of which every byte, the header too, is one cipher chain: each item is a padded message of it, so that
// they can be read in order only, from the start. See RecordFile.h for the frame.
#pragma once

#include "RecordFile.h"
#include "Rijndael.h"

class CEncryptedDB : public wdlt::RecordFile {
  protected:
    CEncryptedDB();

    // Sets m_rijndael up, to decipher when `forWriting` is 0.
    std::int32_t InitEncryptionMethod(int forWriting) override = 0;

    // One item of `size` plain bytes. A shorter one in the file leaves the rest of the buffer alone. WDLT_E_NO_MEMORY
    // without memory, WDLT_E_FILE for bytes that aren't there, WDLT_E_GENERAL for what doesn't decipher or is longer.
    std::int32_t ReadData(void* buffer, DWORD size);
    // Nothing at all for a size of 0.
    std::int32_t WriteData(const void* buffer, DWORD size);

    Rijndael m_rijndael;

  private:
    std::int32_t readHeaderField(void* field, DWORD size) override { return ReadData(field, size); }
    std::int32_t writeHeaderField(const void* field, DWORD size) override { return WriteData(field, size); }
};

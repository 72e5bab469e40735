// Record files that are one cipher chain from the first byte of the header on: each item is a padded message of the
// chain, so that items can only be read in order, from the start. See RecordFile.h for the rest.
#pragma once

#include "RecordFile.h"
#include "Rijndael.h"

class CEncryptedDB : public wdlt::RecordFile {
  protected:
    CEncryptedDB();

    // Sets up m_rijndael, for deciphering when `forWriting` is 0.
    [[nodiscard]] std::int32_t InitEncryptionMethod(int forWriting) override = 0;

    // One item of `size` plain bytes. If the file's is shorter, the rest of the buffer stays as it was.
    // WDLT_E_NO_MEMORY when memory is exhausted, WDLT_E_FILE when the file ends too soon, WDLT_E_GENERAL when the item
    // doesn't decipher or is longer.
    [[nodiscard]] std::int32_t ReadData(void* buffer, DWORD size);
    // Writes nothing for a size of 0.
    [[nodiscard]] std::int32_t WriteData(const void* buffer, DWORD size);

    Rijndael m_rijndael;

  private:
    [[nodiscard]] std::int32_t readHeaderField(void* field, DWORD size) override { return ReadData(field, size); }
    std::int32_t writeHeaderField(const void* field, DWORD size) override { return WriteData(field, size); }
};

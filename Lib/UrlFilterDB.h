// Record files with a plain header and records that the store enciphers one by one. See RecordFile.h for the frame.
#pragma once

#include "RecordFile.h"

class CUrlFilterDB : public wdlt::RecordFile {
  protected:
    CUrlFilterDB();

    // `size` bytes as they stand in the file: WDLT_E_FILE unless all of them are moved.
    std::int32_t ReadData(void* buffer, DWORD size);
    std::int32_t WriteData(const void* buffer, DWORD size);

  private:
    // Fewer bytes than asked are no failure here: a field that isn't whole in the file stays as it was. `size` is at
    // most wdlt::kGuidBytes.
    std::int32_t readHeaderField(void* field, DWORD size) override;
    std::int32_t writeHeaderField(const void* field, DWORD size) override;
};

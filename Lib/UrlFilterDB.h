// Record files with a plain header and records that the store enciphers one by one. See RecordFile.h for the rest.
#pragma once

#include "RecordFile.h"

class CUrlFilterDB : public wdlt::RecordFile {
  protected:
    CUrlFilterDB();

    // Transfers `size` raw bytes; WDLT_E_FILE unless all of them are transferred.
    [[nodiscard]] std::int32_t ReadData(void* buffer, DWORD size);
    [[nodiscard]] std::int32_t WriteData(const void* buffer, DWORD size);

  private:
    // A short read is no failure here: it leaves the field as it was. `size` is at most wdlt::kGuidBytes.
    [[nodiscard]] std::int32_t readHeaderField(void* field, DWORD size) override;
    [[nodiscard]] std::int32_t writeHeaderField(const void* field, DWORD size) override;
};

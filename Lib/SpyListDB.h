// The spyware white list: short texts, in a file that is one cipher chain. A file that can't be opened reads as an
// empty list.
#pragma once

#include "EncryptedDB.h"

#include <span>

class CSpyListDB : public CEncryptedDB {
  public:
    CSpyListDB();

    [[nodiscard]] std::int32_t Read(const char* file, void* buffer, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t Write(const char* file, const void* buffer, std::uint64_t* size) override;

  protected:
    [[nodiscard]] std::int32_t InitEncryptionMethod(int forWriting) override;

  private:
    [[nodiscard]] std::int32_t readRecord(char* slot);
    [[nodiscard]] std::int32_t writeRecords(std::span<const char> slots);
};

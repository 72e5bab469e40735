// A list store whose records have their length in front: four bytes of cipher length, then the record as one message
// under the list key. What a store of this kind adds is a table.
#pragma once

#include "Rijndael.h"
#include "UrlFilterDB.h"
#include "WdCommon/LogFormat.h"

#include <span>

namespace wdlt {

class LengthListDB : public CUrlFilterDB {
  public:
    std::int32_t Read(const char* file, void* buffer, std::uint64_t* size) override;
    std::int32_t Write(const char* file, const void* buffer, std::uint64_t* size) override;

    struct ReadLines {
        LogFormat<> lengthUnread;
        LogFormat<unsigned long, std::string> lengthTooLarge;
        LogFormat<> recordUnread;
        LogFormat<std::int32_t, std::string> recordUndeciphered;
        LogFormat<std::int32_t, std::string> recordTooLarge;
    };
    struct Kind {
        Store store;
        const char* mutexName;
        const char* guid;
        DWORD slotBytes;       // of a record in the list
        DWORD mostPlainBytes;  // of a record in the file
        DWORD mostCipherBytes; // likewise; a number between the multiples of 16 is let through here and refused later
        bool holdsTexts;       // zero-terminated in their slots, and stored without the terminator
        ReadLines readLines;
        LogFormat<> recordEmpty; // of texts
        LogFormat<> recordUnterminated;
        LogFormat<std::int32_t> recordUnenciphered;
        LogFormat<> lengthUnwritten;
        LogFormat<> recordUnwritten;
    };

  protected:
    explicit LengthListDB(const Kind& kind);

    // The next record's plain bytes into `plain`, which has room for a record's cipher bytes: how many, or the code.
    std::int32_t readRecord(Rijndael& cipher, const ReadLines& lines, std::span<std::uint8_t> plain);
    // Of what readRecord may be given.
    static constexpr std::size_t kMostCipherBytes = 2112;

  private:
    std::int32_t writeRecords(std::span<const std::uint8_t> records);

    const Kind& m_kind;
};

} // namespace wdlt

// A list store of length-prefixed records: four bytes of cipher length, then the record as one message under the list
// key. Each store of this kind is just a table.
#pragma once

#include "Rijndael.h"
#include "UrlFilterDB.h"
#include "WdCommon/LogFormat.h"

#include <span>

namespace wdlt {

class LengthListDB : public CUrlFilterDB {
  public:
    [[nodiscard]] std::int32_t Read(const char* file, void* buffer, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t Write(const char* file, const void* buffer, std::uint64_t* size) override;

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
        DWORD mostCipherBytes; // likewise; a length that is no multiple of 16 passes here and then doesn't decipher
        bool holdsTexts;       // null-terminated in their slots, stored without the terminator
        ReadLines readLines;
        LogFormat<> recordEmpty; // this and the next for texts only
        LogFormat<> recordUnterminated;
        LogFormat<std::int32_t> recordUnenciphered;
        LogFormat<> lengthUnwritten;
        LogFormat<> recordUnwritten;
    };

  protected:
    explicit LengthListDB(const Kind& kind);

    // Reads the next record's plain bytes into `plain`, which has room for its cipher bytes. Their number, or an error
    // status.
    [[nodiscard]] std::int32_t readRecord(Rijndael& cipher, const ReadLines& lines, std::span<std::uint8_t> plain);
    // Enough for a record of any kind.
    static constexpr std::size_t kMostCipherBytes = 2112;

  private:
    [[nodiscard]] std::int32_t writeRecords(std::span<const std::uint8_t> records);

    const Kind& m_kind;
};

} // namespace wdlt

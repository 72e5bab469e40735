// A store of fixed-size records, as large in the file as in the list: a short plain head, then sealed fields. Each
// store of this kind is just a table.
#pragma once

#include "SealedField.h"
#include "StoreKeys.h"
#include "UrlFilterDB.h"
#include "WdCommon/LogFormat.h"

#include <span>

namespace wdlt {

class FixedRecordDB : public CUrlFilterDB {
  public:
    [[nodiscard]] std::int32_t Read(const char* file, void* buffer, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t Write(const char* file, const void* buffer, std::uint64_t* size) override;

    using Field = SealedField;
    struct Kind {
        Store store;
        const char* mutexName;
        const char* guid;
        const StoreKey& key;
        DWORD recordBytes;
        std::span<const Field> fields;
        LogFormat<> recordUnread;
        LogFormat<> recordUnwritten;
    };

  protected:
    explicit FixedRecordDB(const Kind& kind);

  private:
    [[nodiscard]] std::int32_t readRecord(Rijndael& cipher, std::uint8_t* record);
    [[nodiscard]] std::int32_t writeRecord(Rijndael& cipher, std::uint8_t* record);
    [[nodiscard]] std::int32_t writeRecords(std::span<const std::uint8_t> records);

    const Kind& m_kind;
};

} // namespace wdlt

// A store whose records have one size in the file and the list: a short plain head, then sealed fields. What a store of
// this kind adds is a table.
#pragma once

#include "SealedField.h"
#include "StoreKeys.h"
#include "UrlFilterDB.h"
#include "WdCommon/LogFormat.h"

#include <span>

namespace wdlt {

class FixedRecordDB : public CUrlFilterDB {
  public:
    std::int32_t Read(const char* file, void* buffer, std::uint64_t* size) override;
    std::int32_t Write(const char* file, const void* buffer, std::uint64_t* size) override;

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
    std::int32_t readRecord(Rijndael& cipher, std::uint8_t* record);
    std::int32_t writeRecord(Rijndael& cipher, std::uint8_t* record);
    std::int32_t writeRecords(std::span<const std::uint8_t> records);

    const Kind& m_kind;
};

} // namespace wdlt

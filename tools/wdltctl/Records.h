/* The records that get and set know. A new one is a file with its table and one row in Records.cpp. */
#pragma once

#include "RecordFields.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace wdlt {

struct Record {
    std::string_view name;
    const char* help;
    std::size_t size;
    std::span<const Field> fields;
    /* Status of the library. The write may change the bytes that it is given. */
    std::int32_t (*read)(std::span<BYTE> record);
    std::int32_t (*write)(std::span<BYTE> record);
};

extern const Record kSystemRecord;

std::span<const Record* const> allRecords();
/* By name; an unknown one is a usage error that lists those there are. */
const Record& findRecord(std::string_view name);
const Field& findField(const Record& record, std::string_view name);

} // namespace wdlt

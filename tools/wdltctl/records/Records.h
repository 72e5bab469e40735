/* The records that get and set know: what the catalog says of each (records/Catalog.h), and how it is read and written. */
#pragma once

#include "RecordFields.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {

struct Record {
    std::string_view name;
    const char* help;
    std::size_t size;
    std::span<const Field> fields;
    /* Status of the library. The write may change the bytes that it is given. */
    std::int32_t (*read)(const std::string& which, std::span<BYTE> record);
    std::int32_t (*write)(const std::string& which, std::span<BYTE> record);
    /* A record of several: what tells them apart stands behind the record's name, and comes to `which`. */
    const char* whichName = nullptr;
    const char* whichHelp = "";
};

std::span<const Record> allRecords();
/* By name; an unknown one is a usage error that lists those there are. */
const Record& findRecord(std::string_view name);
const Field& findField(const Record& record, std::string_view name);

} // namespace wdlt

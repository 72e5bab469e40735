/* The records for get and set: what the catalog (records/Catalog.h) says about each, and how it is read and written. */
#pragma once

#include "RecordFields.h"
#include "ToolError.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

struct Record {
    std::string_view name;
    const char* help;
    std::size_t size;
    std::span<const Field> fields;
    /* Both return the library's status. The write may change the bytes that it is given. */
    std::int32_t (*read)(const std::string& which, std::span<BYTE> record);
    std::int32_t (*write)(const std::string& which, std::span<BYTE> record);
    /* For one of several like records: the word after the record's name that selects it, passed as `which`. */
    const char* whichName = nullptr;
    const char* whichHelp = "";
    std::vector<std::string> (*whichWords)() = nullptr; /* those that select one */
    /* Before a write: a ToolError when it would lose something, unless `isForced`. Null: it never does. */
    void (*lookBeforeWrite)(bool isForced) = nullptr;
};

std::span<const Record> allRecords();
/* By name, in any case; a field by either of its names. An unknown one is a usage error that suggests another. */
const Record& findRecord(std::string_view name);
const Field& findField(const Record& record, std::string_view name);

/* Which of several like records is meant: usage errors of all verbs that take a record and a field. */
ToolError whichIsNeeded(const Record& record);
ToolError tooManyFields(std::string_view field);

} // namespace wdlt

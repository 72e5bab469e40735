/* Lists of entries with several members each, as objects by the entries' names. A list's columns are a table; what is
   special about it is how it is read and written. */
#pragma once

#include "Part.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {

struct Column {
    enum class Kind : std::uint8_t {
        Narrow, /* text of at most `most` bytes in the system code page */
        Wide,   /* of at most `most` UTF-16 units */
        Free,   /* of any length: the list checks it */
        Number, /* `least` to `most` */
    };

    const char* name;
    Kind kind;
    std::int64_t most = 0;
    std::int64_t least = 0;
    std::int64_t absent = 0;  /* the number where the entry leaves it out; a text is empty then */
    bool mayBeAbsent = false; /* it stays out */
};

/* An entry with all its columns. */
Json wantedEntry(std::span<const Column> columns, const Json& given, const DocumentPath& place, Complaints& complaints);
/* Of the whole list; `names` is a pattern that the entries' names match. */
Json entriesSchema(std::span<const Column> columns, const char* names);

/* Calls `take` for each entry that is given, and complains of names that are the same but for their case. Null gives no
   entry. False for what isn't an object, which is a complaint too. */
bool eachEntry(const Json& given, const DocumentPath& path, Complaints& complaints,
               const std::function<void(const std::string& name, const Json& entry)>& take);

} // namespace wdlt

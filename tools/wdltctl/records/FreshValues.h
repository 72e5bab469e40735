/* Where a record's values are in the registry, and what a fresh installation has there. */
#pragma once

#include "Catalog.h"
#include "Records.h"

#include <optional>
#include <string>
#include <vector>

namespace wdlt {

struct RecordKey {
    const Settings& settings; /* of that one of several like records, with its fresh values */
    std::u16string path;
};
/* One of several like records must be there. */
RecordKey keyOf(const Record& record, const std::string& which);

/* What the catalog says of one of several like records; of the first of them where `which` is empty. */
const Settings& settingsOf(const Record& record, const std::string& which);

/* A field's fresh value as a user would type it. */
std::string freshAsTyped(const Field& field);

/* In UTF-8; none when there is no such key. */
std::vector<std::string> valueNamesIn(const std::u16string& path);
/* What is stored for a text, in UTF-8. */
std::optional<std::string> registryText(const std::u16string& path, const Field& field);

/* Stores the fresh values of `fields` in the registry, and if `mends` those of all other values of the key that can't
   be read. The library isn't asked, and nobody is told. Returns the names of the others. */
std::vector<std::string> layDownFresh(const RecordKey& key, const std::vector<Field>& fields, bool mends);

} // namespace wdlt

// A list of URL patterns: the white list or the black one, each a file of its own.
#pragma once

#include "LengthListDB.h"

#include <wdltcfg/records.h>

class CUrlListDB : public wdlt::LengthListDB {
  public:
    CUrlListDB();

    // Sets dwExists of each entry of the query whose URL matches a record of the file. The store's mutex is held for
    // the whole search. A missing file is WDLT_E_FILE_NOT_FOUND and leaves dwExists alone; after another failure, those
    // found before it stay found.
    std::int32_t CheckIfUrlRecordExists(const char* file, WdpeUrlfQuery* query);
};

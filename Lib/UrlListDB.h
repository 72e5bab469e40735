// A list of URL patterns: the white list or the black one, each a file of its own.
#pragma once

#include "CompiledUrls.h"
#include "LengthListDB.h"

#include <wdltcfg/records.h>

class CUrlListDB : public wdlt::LengthListDB {
  public:
    CUrlListDB();

    // Sets dwExists of each entry of the query whose URL matches a record of the file. The store's mutex is held for
    // the whole search. WDLT_E_FILE_NOT_FOUND when the file is missing; dwExists is then left alone. A failure half-way
    // keeps the matches found before it.
    [[nodiscard]] std::int32_t CheckIfUrlRecordExists(const char* file, WdpeUrlfQuery* query);

  private:
    class Unmatched;

    // From the first record on that wasn't kept.
    [[nodiscard]] std::int32_t searchOn(Unmatched& unmatched, wdlt::CompiledUrls& compiled, DWORD count);
};

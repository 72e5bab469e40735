// The log index of the URL filter.
#pragma once

#include "FixedRecordDB.h"

class CUrlLogDB : public wdlt::FixedRecordDB {
  public:
    CUrlLogDB();
};

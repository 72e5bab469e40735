// The names of the URL categories.
#pragma once

#include "FixedRecordDB.h"

class CUrlCategoryDB : public wdlt::FixedRecordDB {
  public:
    CUrlCategoryDB();
};

// The groups of URL categories: each a name and the list of its categories.
#pragma once

#include "FixedRecordDB.h"

class CUrlCategoryGroupDB : public wdlt::FixedRecordDB {
  public:
    CUrlCategoryGroupDB();
};

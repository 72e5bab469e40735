// The list of the host filter: records of one size whose content is the caller's and the service's.
#pragma once

#include "LengthListDB.h"

class CHostListDB : public wdlt::LengthListDB {
  public:
    CHostListDB();
};

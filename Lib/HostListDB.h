// The list of the host filter: fixed-size records whose content only the caller and the service interpret.
#pragma once

#include "LengthListDB.h"

class CHostListDB : public wdlt::LengthListDB {
  public:
    CHostListDB();
};

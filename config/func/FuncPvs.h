// The virus scan of POP3.
#pragma once

#include "FuncGenericVs.h"

class CFuncPvs : public CFuncGenericVs {
  public:
    CFuncPvs();

    virtual std::int32_t ConfigRead(WdltVsConfig* pConfig);
    virtual std::int32_t ConfigWrite(const WdltVsConfig* pConfig);
};

// The virus scan of SMTP.
#pragma once

#include "FuncGenericVs.h"

class CFuncSvs : public CFuncGenericVs {
  public:
    CFuncSvs();

    virtual std::int32_t ConfigRead(WdltVsConfig* pConfig);
    virtual std::int32_t ConfigWrite(const WdltVsConfig* pConfig);
};

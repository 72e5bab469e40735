// The virus scan of POP3.
#pragma once

#include "FuncGenericVs.h"

class CFuncPvs : public CFuncGenericVs {
  public:
    CFuncPvs();

    [[nodiscard]] virtual std::int32_t ConfigRead(WdltVsConfig* pConfig);
    [[nodiscard]] virtual std::int32_t ConfigWrite(const WdltVsConfig* pConfig);
};

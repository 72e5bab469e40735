// The virus scan of SMTP.
#pragma once

#include "FuncGenericVs.h"

class CFuncSvs : public CFuncGenericVs {
  public:
    CFuncSvs();

    [[nodiscard]] virtual std::int32_t ConfigRead(WdltVsConfig* pConfig);
    [[nodiscard]] virtual std::int32_t ConfigWrite(const WdltVsConfig* pConfig);
};

// The virus scan of web mail over HTTP.
#pragma once

#include "FuncGenericVs.h"

class CFuncWmvs : public CFuncGenericVs {
  public:
    CFuncWmvs();

    [[nodiscard]] virtual std::int32_t ConfigRead(WdltVsConfig* pConfig);
    [[nodiscard]] virtual std::int32_t ConfigWrite(const WdltVsConfig* pConfig);
};

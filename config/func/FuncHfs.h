// The virus scan of files over HTTP, an item of its own beside that of web mail, and how files are scanned.
#pragma once

#include "FuncGenericVs.h"

class CFuncHfs : public CFuncGenericVs {
  public:
    CFuncHfs();

    [[nodiscard]] virtual std::int32_t ConfigVirusRead(WdltVsConfig* pConfig);
    [[nodiscard]] virtual std::int32_t ConfigVirusWrite(const WdltVsConfig* pConfig);

    // All of the file scan's record except its size limit, which belongs to the virus scan.
    [[nodiscard]] virtual std::int32_t ConfigRead(WdltHfsConfig* pConfig);
    [[nodiscard]] virtual std::int32_t ConfigWrite(const WdltHfsConfig* pConfig);
};

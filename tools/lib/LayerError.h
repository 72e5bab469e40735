/* Failures of the platform layer in words. Every registry call that fails in a tool throws a LayerError that names the
   key. */
#pragma once

#include "ToolError.h"

#include <platform/win32.h>
#include <string>

namespace wdlt {

/* "no such key or value (error 2)"; an unknown code gives the number alone. */
std::string layerErrorText(LONG code);

class LayerError : public ToolError {
  public:
    /* `subject` is what the call was about, such as the full name of a key. */
    LayerError(const std::string& subject, LONG code);
    LONG code() const { return m_code; }

  private:
    LONG m_code;
};

} // namespace wdlt

// Logs one operation of the privacy classes: its begin and end, and the step that fails.
#pragma once

#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <cstdint>

namespace wdlt {

class PrivacyOperation {
  public:
    explicit PrivacyOperation(const char* name) : m_name(name) { WDLOG_TRACE("Enter CEnginePDPCommon::%s()", m_name); }
    ~PrivacyOperation() { WDLOG_TRACE("Leave CEnginePDPCommon::%s()", m_name); }
    PrivacyOperation(const PrivacyOperation&) = delete;
    PrivacyOperation& operator=(const PrivacyOperation&) = delete;

    // Whether the step succeeded and the next one may follow.
    bool did(const char* step, std::int32_t status) {
        m_status = status;
        if (status != WDLT_OK)
            WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to %s(). lRtnSts=%ld", m_name, step,
                        static_cast<long>(status));
        return status == WDLT_OK;
    }
    // Of the last step.
    [[nodiscard]] std::int32_t status() const { return m_status; }
    const char* name() const { return m_name; }

  private:
    const char* m_name;
    std::int32_t m_status = WDLT_OK;
};

} // namespace wdlt

// Logs one call of a family: its begin and end, and its failures, in the form that most families share.
#pragma once

#include "WdCommon/DebugLog.h"
#include "WdCommon/EventLine.h"

#include <wdltcfg/status.h>

#include <cstdint>

namespace wdlt {

// The source position of a log line.
struct LinePlace {
    const char* file;
    unsigned line;

    static constexpr LinePlace here(const char* file = __builtin_FILE(), unsigned line = __builtin_LINE()) {
        return {file, line};
    }
};

// The log line of a failing step: "CLASS::MEMBER(): Failed to STEP: STATUS", or a text of its own.
class CallFailure {
  public:
    CallFailure(const char* family, const char* member, const char* step, const LinePlace& place)
        : m_family(family), m_member(member), m_step(step), m_place(place) {}
    // NOLINTNEXTLINE(google-explicit-constructor): a text stands where a failure is wanted.
    CallFailure(const EventLine& text) : m_text(text) {}

    void tell(std::int32_t status) const {
        if (m_step == nullptr)
            m_text.tell(kLogError, status);
        else if (isLogged(kLogError))
            Trace(m_place.file, m_place.line, kLogError, "%s::%s(): Failed to %s: %d", m_family, m_member, m_step,
                  status);
    }

  private:
    EventLine m_text;
    const char* m_family = nullptr;
    const char* m_member = nullptr;
    const char* m_step = nullptr;
    LinePlace m_place{};
};

// A call that ends with a count logs that in place of the plain end.
class FamilyCall {
  public:
    FamilyCall(const char* family, const char* member) : m_family(family), m_member(member) {
        WDLOG_ENTRY("%s::%s(): IN", m_family, m_member);
    }
    ~FamilyCall() {
        if (!m_isTold)
            WDLOG_ENTRY("%s::%s(): OUT", m_family, m_member);
    }
    FamilyCall(const FamilyCall&) = delete;
    FamilyCall& operator=(const FamilyCall&) = delete;

    void endWithCount(std::int32_t count) {
        m_isTold = true;
        WDLOG_ENTRY("%s::%s(): OUT: count=%d", m_family, m_member, count);
    }
    // The caller logs the end.
    void endToldElsewhere() { m_isTold = true; }

    // For steps that report their failures themselves.
    CallFailure failing(const char* step, const LinePlace& place = LinePlace::here()) const {
        return {m_family, m_member, step, place};
    }
    [[nodiscard]] std::int32_t failed(const char* step, std::int32_t status,
                                      const LinePlace& place = LinePlace::here()) const {
        failing(step, place).tell(status);
        return status;
    }

    // Rejected arguments; each is logged and returns WDLT_E_INVALID_ARGUMENT.
    [[nodiscard]] std::int32_t isNull(const char* argument, const LinePlace& place = LinePlace::here()) const {
        tell(place, "%s::%s: %s is NULL", m_family, m_member, argument);
        return WDLT_E_INVALID_ARGUMENT;
    }
    [[nodiscard]] std::int32_t withoutRecords(const LinePlace& place = LinePlace::here()) const {
        tell(place, "%s::%s(): Invalid parameter NULL", m_family, m_member);
        return WDLT_E_INVALID_ARGUMENT;
    }
    [[nodiscard]] std::int32_t ofUnknownList(std::uint32_t listType, const LinePlace& place = LinePlace::here()) const {
        tell(place, "%s::%s(): Unknown list type: %d", m_family, m_member, listType);
        return WDLT_E_INVALID_ARGUMENT;
    }
    [[nodiscard]] std::int32_t withTooMany(std::int32_t count, const LinePlace& place = LinePlace::here()) const {
        tell(place, "%s::%s(): count %d exceeds the maximum", m_family, m_member, count);
        return WDLT_E_INVALID_ARGUMENT;
    }

  private:
    template <class... Args>
    static void tell(const LinePlace& place, LogFormat<Args...> format, const Args&... args) {
        if (isLogged(kLogError))
            Trace(place.file, place.line, kLogError, format, args...);
    }

    const char* m_family;
    const char* m_member;
    bool m_isTold = false;
};

} // namespace wdlt

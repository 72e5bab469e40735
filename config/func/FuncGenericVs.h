// The virus scan: base of the features that differ in where they scan, a protocol and the input of its scan item. A
// caller's record is stored as two: the scan's own, and the one with the size limit of the place.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

#include <cstddef>

namespace wdlt {

// What differs between the places, apart from the scan item.
struct VsPlace {
    // The record with the size limit: its address, its size, and the limit's offset.
    std::uint32_t limitProtocol;
    std::uint32_t limitScan;
    std::uint32_t limitInput;
    std::size_t limitRecordSize;
    std::size_t limitOffset;

    // The texts for the log. Those about a failed read or write get the status appended.
    const char* family;
    struct {
        const char* member;
        const char* withoutConfig;
        const char* limitUnread;
        const char* scanUnread;
    } reading;
    struct {
        const char* member;
        const char* withoutConfig;
        const char* limitUnread;
        const char* scanUnwritten;
        const char* limitUnwritten;
    } writing;
};

} // namespace wdlt

class CFuncGenericVs : public CCfgHelper {
  public:
    [[nodiscard]] virtual std::int32_t Enable(std::int32_t enable);
    [[nodiscard]] virtual std::int32_t IsEnabled();

  protected:
    CFuncGenericVs(std::uint32_t protocol, std::uint32_t input) : m_dwProtocol(protocol), m_dwInput(input) {}

    // Reads both records, or nothing.
    [[nodiscard]] std::int32_t readPlace(const wdlt::VsPlace& place, WdltVsConfig* pConfig);
    // Writes the scan's record first: it stays written if the limit fails. What the caller doesn't have stays as
    // stored.
    [[nodiscard]] std::int32_t writePlace(const wdlt::VsPlace& place, const WdltVsConfig* pConfig);

    // The scan's record alone: all of the caller's fields except dwLimitSize.
    [[nodiscard]] std::int32_t ConfigReadVs(WdltVsConfig& record);
    [[nodiscard]] std::int32_t ConfigWriteVs(const WdltVsConfig& record);

    const std::uint32_t m_dwProtocol;
    const std::uint32_t m_dwInput;
};

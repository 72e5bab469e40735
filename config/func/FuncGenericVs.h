// The virus scan, base of the features that differ by where they scan: a protocol, and the input of its scan item. A
// caller's one record is kept in two: the scan's own, and the one that holds the size limit of the place.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

#include <cstddef>

namespace wdlt {

// What tells one place from the others, but for its scan item.
struct VsPlace {
    // The record with the size limit: its address, its size, and where the limit stands in it.
    std::uint32_t limitProtocol;
    std::uint32_t limitScan;
    std::uint32_t limitInput;
    std::size_t limitRecordSize;
    std::size_t limitOffset;

    // What the log calls it all. The lines that tell of a status have it behind them.
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
    virtual std::int32_t Enable(std::int32_t enable);
    virtual std::int32_t IsEnabled();

  protected:
    CFuncGenericVs(std::uint32_t protocol, std::uint32_t input) : m_dwProtocol(protocol), m_dwInput(input) {}

    // Both records, or nothing.
    std::int32_t readPlace(const wdlt::VsPlace& place, WdltVsConfig* pConfig);
    // The scan's record first: a failure at the limit leaves it written. What the caller doesn't have stays as stored.
    std::int32_t writePlace(const wdlt::VsPlace& place, const WdltVsConfig* pConfig);

    // The scan's record alone: all of the caller's but dwLimitSize.
    std::int32_t ConfigReadVs(WdltVsConfig& record);
    std::int32_t ConfigWriteVs(const WdltVsConfig& record);

    const std::uint32_t m_dwProtocol;
    const std::uint32_t m_dwInput;
};

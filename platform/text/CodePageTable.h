// Code pages other than UTF-8 as tables. Bytes are looked up in constant data; the way back is made at the first use of
// each code page. A published table never changes and is never freed: other threads may still read it while the process
// ends.
#pragma once

#include "UnicodeTables.h"

#include <memory>
#include <vector>

namespace wd {

// Null for UTF-8, and when the layer has no such code page.
const CodePageName* findCodePage(UINT number);

// Maps bytes to units and back. kNoUnit: the code page has no character there.
class CodePageTable {
  public:
    // The table of a code page; null for UTF-8 and for an unknown one.
    static const CodePageTable* of(UINT number);

    bool isLeadByte(BYTE byte) const { return m_name.isLead(byte); }
    char16_t single(BYTE byte) const { return m_data.single[byte]; }
    char16_t pair(BYTE lead, BYTE trail) const { return m_data.pairs[pairIndex(lead, trail)]; }
    // 0: the code page lacks the unit; up to 0xFF a single byte, above that lead and trail byte.
    std::uint16_t narrow(char16_t unit) const { return m_narrow[unit]; }

  private:
    CodePageTable(const CodePageName& name, const CodePageData& data);
    void note(char16_t unit, std::size_t code);

    const CodePageName& m_name;
    const CodePageData& m_data;
    std::vector<std::uint16_t> m_narrow;
};

} // namespace wd

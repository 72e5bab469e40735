// Code pages other than UTF-8 as tables, taken from ICU at the first use of each. A published table never changes and
// is never freed: other threads may still read it while the process ends.
#pragma once

#include <platform/base.h>

#include <array>
#include <memory>
#include <vector>

struct UConverter;

namespace wd {

struct ByteRange {
    BYTE first;
    BYTE last;
};

// A row of the list of code pages: what is known about one without ICU.
struct CodePageName {
    bool isLead(std::size_t byte) const;

    UINT number;
    std::array<ByteRange, 2> leads; // an unused range is 1..0
    const char* icuName;
};

// Null for UTF-8, and when the layer has no such code page.
const CodePageName* findCodePage(UINT number);

inline constexpr std::size_t kFirstHighByte = 0x80;

// Maps bytes to units and back. kNoUnit: the code page has no character there.
class CodePageTable {
  public:
    static constexpr char16_t kNoUnit = 0xFFFF; // a noncharacter, which no code page has

    // The table of a code page; null for UTF-8, for an unknown one, and for one that ICU's data lacks.
    static const CodePageTable* of(UINT number);

    bool isLeadByte(BYTE byte) const { return m_name.isLead(byte); }
    char16_t single(BYTE byte) const { return m_single[byte]; }
    char16_t pair(BYTE lead, BYTE trail) const { return m_pairs[pairIndex(lead, trail)]; }
    // 0: the code page lacks the unit; up to 0xFF a single byte, above that lead and trail byte.
    std::uint16_t narrow(char16_t unit) const { return m_narrow[unit]; }

  private:
    static std::unique_ptr<const CodePageTable> build(const CodePageName& name);
    explicit CodePageTable(const CodePageName& name) : m_name(name), m_narrow(0x10000) {}

    static std::size_t pairIndex(std::size_t lead, std::size_t trail) {
        return (lead - kFirstHighByte) * 0x100 + trail;
    }
    bool fillWide(UConverter* converter);
    bool fillNarrow(UConverter* converter);

    const CodePageName& m_name;
    std::array<char16_t, 0x100> m_single{};
    std::vector<char16_t> m_pairs; // empty when the code page has no lead bytes
    std::vector<std::uint16_t> m_narrow;
};

} // namespace wd

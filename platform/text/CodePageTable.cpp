#include "CodePageTable.h"

#include <algorithm>
#include <atomic>
#include <iterator>

namespace wd {
namespace {

constexpr std::size_t kCodePageCount = std::size(kCodePages);

std::size_t indexOf(UINT number) {
    const auto* const found = std::ranges::find(kCodePages, number, &CodePageName::number);
    return static_cast<std::size_t>(found - std::begin(kCodePages));
}

} // namespace

// The first bytes that mean a unit are its usual ones, but where the data says otherwise.
CodePageTable::CodePageTable(const CodePageName& name, const CodePageData& data)
    : m_name(name), m_data(data), m_narrow(0x10000) {
    for (std::size_t byte = 0; byte < data.single.size(); ++byte)
        note(data.single[byte], byte);
    for (std::size_t at = 0; at < data.pairs.size(); ++at)
        note(data.pairs[at], at + (kFirstHighByte << 8));
    for (const UsualBytes& usual : data.usual)
        m_narrow[usual.unit] = usual.code;
}

void CodePageTable::note(char16_t unit, std::size_t code) {
    if (unit != kNoUnit && m_narrow[unit] == 0)
        m_narrow[unit] = static_cast<std::uint16_t>(code);
}

const CodePageName* findCodePage(UINT number) {
    const std::size_t index = indexOf(number);
    return index < kCodePageCount ? &kCodePages[index] : nullptr;
}

// Takes no lock, whose holder the child of a fork might lack: racing callers both build, and one of them publishes.
const CodePageTable* CodePageTable::of(UINT number) {
    static constinit std::array<std::atomic<const CodePageTable*>, kCodePageCount> tables{};
    const std::size_t index = indexOf(number);
    if (index == kCodePageCount)
        return nullptr;
    std::atomic<const CodePageTable*>& slot = tables[index];
    if (const CodePageTable* table = slot.load(std::memory_order_acquire))
        return table;
    std::unique_ptr<const CodePageTable> built(new CodePageTable(kCodePages[index], kCodePageData[index]));
    const CodePageTable* published = nullptr;
    if (slot.compare_exchange_strong(published, built.get(), std::memory_order_acq_rel))
        published = built.release();
    return published;
}

} // namespace wd

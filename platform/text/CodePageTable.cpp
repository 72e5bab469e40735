#include "CodePageTable.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <unicode/ucnv.h>
#include <unicode/utf16.h>

namespace wd {
namespace {

constexpr char16_t kNoUnit = CodePageTable::kNoUnit;

constexpr ByteRange kNone{1, 0};

constexpr CodePageName kCodePages[] = {
    {874, {kNone, kNone}, "windows-874-2000"},
    {932, {{{0x81, 0x9F}, {0xE0, 0xFC}}}, "ibm-943_P15A-2003"},
    {936, {{{0x81, 0xFE}, kNone}}, "windows-936-2000"},
    {949, {{{0x81, 0xFE}, kNone}}, "windows-949-2000"},
    {950, {{{0x81, 0xFE}, kNone}}, "windows-950-2000"},
    {1250, {kNone, kNone}, "windows-1250"},
    {1251, {kNone, kNone}, "windows-1251"},
    {1252, {kNone, kNone}, "windows-1252"},
    {1253, {kNone, kNone}, "windows-1253"},
    {1254, {kNone, kNone}, "windows-1254"},
    {1255, {kNone, kNone}, "windows-1255"},
    {1256, {kNone, kNone}, "windows-1256"},
    {1257, {kNone, kNone}, "windows-1257"},
    {1258, {kNone, kNone}, "windows-1258"},
    {28591, {kNone, kNone}, "ISO-8859-1"},
    {28592, {kNone, kNone}, "ISO-8859-2"},
    {28593, {kNone, kNone}, "ISO-8859-3"},
    {28594, {kNone, kNone}, "ISO-8859-4"},
    {28595, {kNone, kNone}, "ISO-8859-5"},
    {28596, {kNone, kNone}, "ISO-8859-6"},
    {28597, {kNone, kNone}, "ISO-8859-7"},
    {28598, {kNone, kNone}, "ISO-8859-8"},
    {28599, {kNone, kNone}, "ISO-8859-9"},
    {28603, {kNone, kNone}, "ISO-8859-13"},
    {28605, {kNone, kNone}, "ISO-8859-15"},
};
constexpr std::size_t kCodePageCount = std::size(kCodePages);

bool contains(ByteRange range, std::size_t byte) {
    return byte >= range.first && byte <= range.last;
}

std::size_t indexOf(UINT number) {
    std::size_t index = 0;
    while (index < kCodePageCount && kCodePages[index].number != number)
        ++index;
    return index;
}

struct CloseConverter {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

char16_t wideOf(UConverter* converter, std::string_view bytes) {
    UErrorCode status = U_ZERO_ERROR;
    std::array<UChar, 4> units{};
    const auto length = ucnv_toUChars(converter, units.data(), static_cast<std::int32_t>(units.size()), bytes.data(),
                                      static_cast<std::int32_t>(bytes.size()), &status);
    const bool oneUnit = U_SUCCESS(status) && length == 1 && units[0] >= kFirstHighByte && !U16_IS_SURROGATE(units[0]);
    return oneUnit ? units[0] : kNoUnit;
}

} // namespace

bool CodePageName::isLead(std::size_t byte) const {
    return contains(leads[0], byte) || contains(leads[1], byte);
}

bool CodePageTable::fillWide(UConverter* converter) {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status))
        return false;
    for (std::size_t byte = 0; byte < m_single.size(); ++byte) {
        const char text = static_cast<char>(byte);
        if (byte < kFirstHighByte)
            m_single[byte] = static_cast<char16_t>(byte);
        else
            m_single[byte] = m_name.isLead(byte) ? kNoUnit : wideOf(converter, {&text, 1});
    }
    if (m_name.leads[0].first > m_name.leads[0].last)
        return true;
    m_pairs.assign(pairIndex(0x100, 0), kNoUnit);
    for (std::size_t lead = kFirstHighByte; lead < 0x100; ++lead) {
        for (std::size_t trail = 1; m_name.isLead(lead) && trail < 0x100; ++trail) {
            const std::array<char, 2> text{static_cast<char>(lead), static_cast<char>(trail)};
            m_pairs[pairIndex(lead, trail)] = wideOf(converter, {text.data(), text.size()});
        }
    }
    return true;
}

// Converts all units in one call: ICU skips what the code page lacks, and the offsets say which unit each byte belongs
// to.
bool CodePageTable::fillNarrow(UConverter* converter) {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_SKIP, nullptr, nullptr, nullptr, &status);
    std::vector<UChar> units;
    for (char32_t unit = kFirstHighByte; unit < kNoUnit; ++unit) {
        if (!U_IS_SURROGATE(unit))
            units.push_back(static_cast<UChar>(unit));
    }
    std::vector<char> bytes(units.size() * 4);
    std::vector<std::int32_t> offsets(bytes.size());
    const UChar* source = units.data();
    char* target = bytes.data();
    ucnv_fromUnicode(converter, &target, bytes.data() + bytes.size(), &source, units.data() + units.size(),
                     offsets.data(), TRUE, &status);
    if (U_FAILURE(status))
        return false;

    const auto length = static_cast<std::size_t>(target - bytes.data());
    for (std::size_t unit = 0; unit < kFirstHighByte; ++unit)
        m_narrow[unit] = static_cast<std::uint16_t>(unit);
    for (std::size_t begin = 0; begin < length;) {
        std::size_t end = begin + 1;
        while (end < length && offsets[end] == offsets[begin])
            ++end;
        const auto lead = static_cast<BYTE>(bytes[begin]);
        std::uint16_t code = 0;
        // No best-fit mapping to ASCII: a look-alike of `\` must not become a separator.
        if (end - begin == 1 && lead >= kFirstHighByte && !isLeadByte(lead))
            code = lead;
        else if (end - begin == 2 && isLeadByte(lead))
            code = static_cast<std::uint16_t>(lead << 8 | static_cast<BYTE>(bytes[begin + 1]));
        m_narrow[units[static_cast<std::size_t>(offsets[begin])]] = code;
        begin = end;
    }
    return true;
}

std::unique_ptr<const CodePageTable> CodePageTable::build(const CodePageName& name) {
    UErrorCode status = U_ZERO_ERROR;
    const Converter converter(ucnv_open(name.icuName, &status));
    if (U_FAILURE(status))
        return nullptr;
    ucnv_setFallback(converter.get(), FALSE);
    std::unique_ptr<CodePageTable> table(new CodePageTable(name));
    if (!table->fillWide(converter.get()) || !table->fillNarrow(converter.get()))
        return nullptr;
    return table;
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
    std::unique_ptr<const CodePageTable> built = build(kCodePages[index]);
    const CodePageTable* published = nullptr;
    if (built != nullptr && slot.compare_exchange_strong(published, built.get(), std::memory_order_acq_rel))
        published = built.release();
    return published;
}

} // namespace wd

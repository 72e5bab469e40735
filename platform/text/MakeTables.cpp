// Prints UnicodeTables.cpp. Runs while the layer is built.
#include "CodePages.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/utf16.h>
#include <vector>

namespace {

using wd::CodePageName;
using wd::kFirstHighByte;
using wd::kNoUnit;

struct CloseConverter {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

using Codes = std::vector<std::uint16_t>; // lead and trail byte, or a single one, by unit

void expect(UErrorCode status, const CodePageName& name) {
    if (U_FAILURE(status))
        throw std::runtime_error(std::string(name.icuName) + ": " + u_errorName(status));
}

char16_t wideOf(UConverter* converter, std::string_view bytes) {
    UErrorCode status = U_ZERO_ERROR;
    std::array<UChar, 4> units{};
    const auto length = ucnv_toUChars(converter, units.data(), static_cast<std::int32_t>(units.size()), bytes.data(),
                                      static_cast<std::int32_t>(bytes.size()), &status);
    const bool oneUnit = U_SUCCESS(status) && length == 1 && units[0] >= kFirstHighByte && !U16_IS_SURROGATE(units[0]);
    return oneUnit ? units[0] : kNoUnit;
}

std::vector<char16_t> singlesOf(UConverter* converter, const CodePageName& name) {
    std::vector<char16_t> singles;
    for (std::size_t byte = 0; byte < 0x100; ++byte) {
        const char text = static_cast<char>(byte);
        if (byte < kFirstHighByte)
            singles.push_back(static_cast<char16_t>(byte));
        else
            singles.push_back(name.isLead(byte) ? kNoUnit : wideOf(converter, {&text, 1}));
    }
    return singles;
}

std::vector<char16_t> pairsOf(UConverter* converter, const CodePageName& name) {
    std::vector<char16_t> pairs(name.hasLeads() ? wd::pairIndex(0x100, 0) : 0, kNoUnit);
    for (std::size_t lead = kFirstHighByte; lead < 0x100; ++lead) {
        for (std::size_t trail = 1; name.isLead(lead) && trail < 0x100; ++trail) {
            const std::array<char, 2> text{static_cast<char>(lead), static_cast<char>(trail)};
            pairs[wd::pairIndex(lead, trail)] = wideOf(converter, {text.data(), text.size()});
        }
    }
    return pairs;
}

// No best-fit mapping to ASCII: a look-alike of `\` must not become a separator.
std::uint16_t codeOf(std::string_view bytes, const CodePageName& name) {
    const auto lead = static_cast<BYTE>(bytes[0]);
    if (bytes.size() == 1 && lead >= kFirstHighByte && !name.isLead(lead))
        return lead;
    if (bytes.size() == 2 && name.isLead(lead))
        return static_cast<std::uint16_t>(lead << 8 | static_cast<BYTE>(bytes[1]));
    return 0;
}

// Converts all units in one call: ICU skips what the code page lacks, and the offsets say which unit each byte belongs
// to.
Codes codesOf(UConverter* converter, const CodePageName& name) {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_SKIP, nullptr, nullptr, nullptr, &status);
    std::vector<UChar> units;
    for (char32_t unit = kFirstHighByte; unit < kNoUnit; ++unit)
        if (!U_IS_SURROGATE(unit))
            units.push_back(static_cast<UChar>(unit));
    std::vector<char> bytes(units.size() * 4);
    std::vector<std::int32_t> offsets(bytes.size());
    const UChar* source = units.data();
    char* target = bytes.data();
    ucnv_fromUnicode(converter, &target, bytes.data() + bytes.size(), &source, units.data() + units.size(),
                     offsets.data(), TRUE, &status);
    expect(status, name);
    Codes codes(0x10000);
    const auto length = static_cast<std::size_t>(target - bytes.data());
    for (std::size_t begin = 0; begin < length;) {
        std::size_t end = begin + 1;
        while (end < length && offsets[end] == offsets[begin])
            ++end;
        codes[units[static_cast<std::size_t>(offsets[begin])]] = codeOf({&bytes[begin], end - begin}, name);
        begin = end;
    }
    return codes;
}

// What the layer finds by itself: the first bytes that mean a unit.
Codes firstCodes(const std::vector<char16_t>& singles, const std::vector<char16_t>& pairs) {
    Codes codes(0x10000);
    const auto note = [&](char16_t unit, std::size_t code) {
        if (unit != kNoUnit && codes[unit] == 0)
            codes[unit] = static_cast<std::uint16_t>(code);
    };
    for (std::size_t byte = kFirstHighByte; byte < singles.size(); ++byte)
        note(singles[byte], byte);
    for (std::size_t at = 0; at < pairs.size(); ++at)
        note(pairs[at], at + (kFirstHighByte << 8));
    return codes;
}

void printUnits(const std::vector<char16_t>& units) {
    for (std::size_t i = 0; i < units.size(); ++i)
        std::printf("%u,%s", units[i], i % 16 == 15 ? "\n" : "");
}

void printPage(const CodePageName& name) {
    UErrorCode status = U_ZERO_ERROR;
    const Converter converter(ucnv_open(name.icuName, &status));
    expect(status, name);
    ucnv_setFallback(converter.get(), FALSE);
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    expect(status, name);
    const auto singles = singlesOf(converter.get(), name);
    const auto pairs = pairsOf(converter.get(), name);
    std::printf("constexpr std::array<char16_t, 256> kSingle%u = {\n", name.number);
    printUnits(singles);
    std::printf("};\nconstexpr std::array<char16_t, %zu> kPairs%u = {\n", pairs.size(), name.number);
    printUnits(pairs);
    std::printf("};\nconstexpr std::initializer_list<UsualBytes> kUsual%u = {\n", name.number);
    const Codes usual = codesOf(converter.get(), name);
    const Codes first = firstCodes(singles, pairs);
    for (std::size_t unit = kFirstHighByte; unit < usual.size(); ++unit)
        if (usual[unit] != first[unit])
            std::printf("{%zu, %u},\n", unit, usual[unit]);
    std::printf("};\n");
}

void print() {
    std::vector<char16_t> upper;
    for (UChar32 unit = 0; unit < 0x10000; ++unit) {
        const UChar32 folded = u_toupper(unit);
        upper.push_back(static_cast<char16_t>(U_IS_BMP(folded) ? folded : unit));
    }
    std::printf("#include \"UnicodeTables.h\"\n#include <initializer_list>\nnamespace wd {\n"
                "constinit const std::array<char16_t, 0x10000> kUpperCase = {\n");
    printUnits(upper);
    std::printf("};\nnamespace {\n");
    for (const CodePageName& name : wd::kCodePages)
        printPage(name);
    std::printf("} // namespace\n"
                "constinit const std::array<CodePageData, std::size(kCodePages)> kCodePageData = {{\n");
    for (const CodePageName& name : wd::kCodePages)
        std::printf("{kSingle%u, kPairs%u, {kUsual%u.begin(), kUsual%u.size()}},\n", name.number, name.number,
                    name.number, name.number);
    std::printf("}};\n} // namespace wd\n");
}

} // namespace

int main() {
    try {
        print();
        return std::fflush(stdout) == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

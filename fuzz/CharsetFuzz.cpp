// The charset converter with the library that was built: whatever the text, a conversion stays inside its buffers,
// leaves zeros when it refuses, and its result converts back to the same characters. The trims stay inside the text and
// remove no more than their escape sequences.
//
// The first three bytes select the charsets and the buffer size.
#include "CharSetConverter.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr DWORD kUtf8 = 4;
constexpr DWORD kCharsets = 31; // one has no name
constexpr DWORD kMostRoom = 128;
constexpr DWORD kAmple = 4096;

void demand(bool holds) {
    if (!holds)
        std::abort();
}

const CCharSetConverter& converter() {
    static CCharSetConverter made;
    static const bool started = made.Initialize() == WDLT_OK;
    demand(started);
    return made;
}

// The whole output buffer of a conversion; empty when it was refused.
std::vector<char> convert(const std::string& text, DWORD from, DWORD to, DWORD room) {
    std::vector<char> output(room, 'x');
    const std::int32_t status = converter().ConvertResource(output.data(), text.c_str(), from, to, room);
    if (status == WDLT_OK)
        return output;
    const char left = status == WDLT_E_CHARSET ? '\0' : 'x';
    demand(std::all_of(output.begin(), output.end(), [left](char byte) { return byte == left; }));
    return {};
}

std::string textOf(const std::vector<char>& bytes) {
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0')};
}

// Wide charsets are left out: their texts would end at a zero byte that is half a unit.
bool isNarrow(DWORD charset) {
    return charset > 1 && charset < 29;
}

void checkTrim(const std::string& text, const std::string& trimmed, std::size_t sequence, std::size_t shortest) {
    if (text.size() < shortest) {
        demand(trimmed.empty());
        return;
    }
    const std::size_t at = text.find(trimmed);
    demand(at != std::string::npos && text.size() - trimmed.size() <= 2 * sequence);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3)
        return 0;
    const DWORD from = data[0] % kCharsets + 1;
    const DWORD to = data[1] % kCharsets + 1;
    const DWORD room = data[2] % (kMostRoom + 1);
    std::string text(reinterpret_cast<const char*>(data) + 3, size - 3);
    text.resize(std::min(text.find('\0'), text.size()));

    checkTrim(text, CCharSetConverter::Trim_ISO_2022(text.c_str()), 3, 3);
    checkTrim(text, CCharSetConverter::Trim_HZ_GB(text.c_str()), 2, 2);

    convert(text, from, to, room);
    const std::vector<char> ample = convert(text, from, to, kAmple);
    if (ample.empty() || !isNarrow(from) || !isNarrow(to) || textOf(ample).empty())
        return 0;
    // Several byte sequences may mean the same character and come back as the usual one, so characters are compared.
    const std::vector<char> utf8 = convert(text, from, kUtf8, kAmple);
    demand(textOf(convert(textOf(ample), to, kUtf8, kAmple)) == textOf(utf8));
    // A tighter buffer gives the same result, if it fits.
    const std::string made = textOf(ample);
    const std::vector<char> tight = convert(text, from, to, static_cast<DWORD>(std::max(made.size(), text.size())));
    demand(textOf(tight) == made);
    return 0;
}

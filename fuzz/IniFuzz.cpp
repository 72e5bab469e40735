// INI text: whatever the bytes, a look-up stays inside them, and a value that was set is found again while the others
// stay as they were.
#include "IniText.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view content(reinterpret_cast<const char*>(data), size);
    std::size_t sum = 0;
    for (const char* const section : {"ServiceSession", "a", ""})
        for (const char* const name : {"Level", "b", ""})
            if (const auto value = wd::findIniValue(content, section, name)) {
                sum += value->size() + wd::iniNumber(*value);
                for (const char c : *value)
                    sum += static_cast<unsigned char>(c);
            }

    const auto other = wd::findIniValue(content, "Other", "Name");
    const std::string kept(other.value_or("(none)"));
    const std::string changed = wd::changeIni(content, "Fuzz", "Key", "value");
    if (wd::findIniValue(changed, "fuzz", "KEY") != "value")
        std::abort();
    if (wd::findIniValue(changed, "Other", "Name").value_or("(none)") != kept)
        std::abort();
    const std::string without = wd::changeIni(changed, "Fuzz", std::nullopt, nullptr);
    if (wd::findIniValue(without, "Other", "Name").value_or("(none)") != kept)
        std::abort();
    return sum == 0xFFFFFFFF ? 1 : 0;
}

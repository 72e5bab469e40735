#include "RegistryText.h"

#include "CodePage.h"
#include "RegistryName.h"

#include <cstring>

namespace wd {

std::string_view NarrowText::name(std::string_view coded, std::string& storage) {
    if (isAscii(coded))
        return coded;
    storage = narrowName(coded);
    return storage;
}

// Half a unit at the end of a text, left there by an odd size, has no narrow form.
std::string NarrowText::convert(std::string_view bytes) {
    std::u16string units(bytes.size() / sizeof(WCHAR), u'\0');
    std::memcpy(units.data(), bytes.data(), units.size() * sizeof(WCHAR));
    return codePageFromWide(units);
}

std::u16string_view WideText::name(std::string_view coded, std::u16string& storage) {
    storage = unitsFromCoded(coded).value_or(std::u16string());
    return storage;
}

std::string WideText::convert(std::string_view bytes) {
    const std::u16string units = wideFromCodePage(bytes);
    return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(WCHAR)};
}

} // namespace wd

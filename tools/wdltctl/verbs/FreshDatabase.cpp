#include "FreshDatabase.h"

#include <cstring>
#include <platform/identity.h>
#include <wdltcfg/records.h>

namespace wdlt {
namespace {

/* The header of the exclusions, which follows the header and the search data: their count and size in bytes. */
constexpr std::size_t kExclusionHeaderBytes = 8;

template <std::size_t size>
void setText(char (&field)[size], const char (&text)[size]) {
    std::memcpy(field, text, size);
}

} // namespace

std::string freshPrivacyDatabase() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    PrivacyDBHeader header{};
    setText(header.szMagic, "__PRIVACY_DATA_PROTECTION__");
    setText(header.szVersion, "01.01.00");
    header.dwDate = (now.wYear * 100U + now.wMonth) * 100U + now.wDay;
    header.dwTime = (now.wHour * 100U + now.wMinute) * 100U + now.wSecond;
    std::string bytes(sizeof header + kExclusionHeaderBytes, '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

} // namespace wdlt

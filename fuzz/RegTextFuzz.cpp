// .reg text: any bytes are a document or an error with a valid position, and a document that was written reads back the
// same.
#include "RegText.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace wdlt {

bool operator==(const RegValue& a, const RegValue& b) {
    return a.name == b.name && a.type == b.type && a.data == b.data && a.isDeletion == b.isDeletion;
}
bool operator==(const RegKey& a, const RegKey& b) {
    return a.path == b.path && a.values == b.values && a.isDeletion == b.isDeletion;
}

} // namespace wdlt

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    wdlt::RegDocument document;
    try {
        document = wdlt::parseRegText(bytes);
    } catch (const wdlt::RegSyntaxError& error) {
        const auto lines = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1;
        if (error.line() == 0 || error.line() > lines || error.column() == 0 || error.column() > size + 1)
            std::abort();
        return 0;
    }
    std::string written;
    try {
        written = wdlt::writeRegText(document);
    } catch (const std::invalid_argument&) {
        return 0; // a name that the format can't express
    }
    const wdlt::RegDocument again = wdlt::parseRegText(written);
    if (!(again.keys == document.keys) || wdlt::writeRegText(again) != written)
        std::abort();
    return 0;
}

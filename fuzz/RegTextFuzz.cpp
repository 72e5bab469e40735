// .reg text: any bytes are a document or an error with a place in them, and a document that was written reads back as
// the same bytes.
#include "RegText.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    wdlt::RegDocument document;
    try {
        document = wdlt::parseRegText(bytes);
    } catch (const wdlt::RegSyntaxError& error) {
        const std::size_t lines = 1 + static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
        if (error.line() == 0 || error.line() > lines || error.column() == 0 || error.column() > size + 1)
            std::abort();
        return 0;
    }
    std::string written;
    try {
        written = wdlt::writeRegText(document);
    } catch (const std::invalid_argument&) {
        return 0; // a name that the format has no way to write
    }
    if (wdlt::writeRegText(wdlt::parseRegText(written)) != written)
        std::abort();
    return 0;
}

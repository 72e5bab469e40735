// Comma-separated texts: whatever the bytes, the fields that are found have a text that gives the same fields back, and
// that text its own form again.
#include "Csv.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const CCsv found({reinterpret_cast<const char*>(data), size});
    const bool isLost = found.fields().size() == 1 && found.fields().front().empty(); // has the text of no field
    const CCsv again(found.text());
    if (!isLost && again.fields() != found.fields())
        std::abort();
    if (again.text() != found.text())
        std::abort();
    return 0;
}

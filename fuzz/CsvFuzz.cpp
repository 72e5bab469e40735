// Comma-separated texts: whatever the bytes, the fields that are found, written as text, parse to the same fields, and
// that text is written the same again.
#include "Csv.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const CCsv found({reinterpret_cast<const char*>(data), size});
    const bool isLost = found.fields().size() == 1 && found.fields().front().empty(); // written like no field at all
    const CCsv again(found.text());
    if (!isLost && again.fields() != found.fields())
        std::abort();
    if (again.text() != found.text())
        std::abort();
    return 0;
}

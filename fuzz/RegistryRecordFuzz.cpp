// Records of the registry's database: whatever the bytes, a view stays inside them, and an editor returns what it
// accepts unchanged.
#include "RegistryRecord.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

std::size_t g_sum; // makes sure that every byte that a view returns is read

void touch(const wd::RecordView& view, std::string_view text) {
    const std::string_view all = view.bytes();
    if (!text.empty() && (text.data() < all.data() || text.data() + text.size() > all.data() + all.size()))
        std::abort();
    for (const char c : text)
        g_sum += static_cast<unsigned char>(c);
}

void walk(const wd::RecordView& view) {
    touch(view, view.name());
    wd::RecordValue value;
    for (std::uint32_t index = 0; index < view.valueCount(); ++index) {
        if (view.valueAt(index, value) != wd::Lookup::Found)
            continue;
        touch(view, value.folded);
        touch(view, value.written);
        touch(view, value.data);
        wd::RecordValue again;
        if (view.findValue(value.folded, again) == wd::Lookup::Found)
            touch(view, again.data);
    }
    wd::RecordSubkey subkey;
    for (std::uint32_t index = 0; index < view.subkeyCount(); ++index)
        if (view.subkeyAt(index, subkey) == wd::Lookup::Found) {
            touch(view, subkey.folded);
            touch(view, subkey.written);
        }
    if (view.valueAt(view.valueCount(), value) == wd::Lookup::Found ||
        view.subkeyAt(view.subkeyCount(), subkey) == wd::Lookup::Found)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto view = wd::RecordView::open(bytes);
    if (!view)
        return 0;
    walk(*view);

    auto editor = wd::RecordEditor::open(bytes);
    if (editor.has_value() != view->isWellFormed())
        std::abort();
    if (!editor)
        return 0;
    if (editor->build() != std::string(bytes))
        std::abort();
    editor->setValue({.folded = "FUZZ", .written = "fuzz", .type = 4, .form = wd::Form::Bytes, .data = "data"});
    editor->addSubkey({.folded = "SUB", .written = "Sub"});
    const auto rebuilt = editor->build();
    if (!rebuilt)
        return 0;
    const auto next = wd::RecordView::open(*rebuilt);
    wd::RecordValue value;
    if (!next || !next->isWellFormed() || next->findValue("FUZZ", value) != wd::Lookup::Found || value.data != "data")
        std::abort();
    return 0;
}

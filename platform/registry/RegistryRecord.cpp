#include "RegistryRecord.h"

#include "RegistryName.h"

#include <algorithm>
#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "records are little-endian and read by plain copies");

namespace wd {

namespace {

constexpr std::uint32_t kMagic = 0x314B5257; // "WRK1"

constexpr std::size_t kHeaderBytes = 28;
constexpr std::size_t kOffsetBytes = 4;
constexpr std::size_t kValueHeadBytes = 13;
constexpr std::size_t kSubkeyHeadBytes = 4;

// Takes numbers and texts off the front; once something is missing, so is all that follows, and ok() is false.
class Reader {
  public:
    explicit Reader(std::string_view bytes) : m_rest(bytes) {}

    template <typename Number>
    Number number() {
        Number value{};
        const std::string_view bytes = text(sizeof value);
        if (bytes.size() == sizeof value)
            std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
    std::string_view text(std::size_t size) {
        if (size > m_rest.size()) {
            m_ok = false;
            m_rest = {};
            return {};
        }
        const std::string_view taken = m_rest.substr(0, size);
        m_rest.remove_prefix(size);
        return taken;
    }
    bool ok() const { return m_ok; }
    std::size_t left() const { return m_rest.size(); }

  private:
    std::string_view m_rest;
    bool m_ok = true;
};

template <typename Number>
void appendNumber(std::string& bytes, Number value) {
    char raw[sizeof value];
    std::memcpy(raw, &value, sizeof value);
    bytes.append(raw, sizeof value);
}

template <typename Entry>
auto lowerBound(std::vector<Entry>& entries, std::string_view folded) {
    return std::lower_bound(entries.begin(), entries.end(), folded,
                            [](const Entry& entry, std::string_view name) { return entry.folded < name; });
}

template <typename Entry>
bool removeEntry(std::vector<Entry>& entries, std::string_view folded) {
    const auto at = lowerBound(entries, folded);
    if (at == entries.end() || at->folded != folded)
        return false;
    entries.erase(at);
    return true;
}

bool isName(std::string_view coded) {
    if (isAscii(coded))
        return coded.size() <= kMaxNameUnits;
    const auto units = unitsFromCoded(coded);
    return units && units->size() <= kMaxNameUnits;
}

// Doesn't check that the folded name is the fold of the written one: later case tables may fold it otherwise.
template <typename Entry>
bool isNamed(const Entry& entry) {
    return isName(entry.written) && isName(entry.folded);
}

std::size_t sizeOf(const RecordValue& value) {
    return kValueHeadBytes + value.folded.size() + value.written.size() + value.data.size();
}

std::size_t sizeOf(const RecordSubkey& subkey) {
    return kSubkeyHeadBytes + subkey.folded.size() + subkey.written.size();
}

void appendEntry(std::string& bytes, const RecordValue& value) {
    appendNumber(bytes, value.type);
    appendNumber(bytes, static_cast<std::uint32_t>(value.data.size()));
    appendNumber(bytes, static_cast<std::uint16_t>(value.folded.size()));
    appendNumber(bytes, static_cast<std::uint16_t>(value.written.size()));
    appendNumber(bytes, static_cast<std::uint8_t>(value.form));
    bytes.append(value.folded).append(value.written).append(value.data);
}

void appendEntry(std::string& bytes, const RecordSubkey& subkey) {
    appendNumber(bytes, static_cast<std::uint16_t>(subkey.folded.size()));
    appendNumber(bytes, static_cast<std::uint16_t>(subkey.written.size()));
    bytes.append(subkey.folded).append(subkey.written);
}

} // namespace

std::optional<RecordView> RecordView::open(std::string_view bytes) {
    Reader reader(bytes);
    const auto magic = reader.number<std::uint32_t>();
    const auto size = reader.number<std::uint32_t>();
    RecordView view;
    view.m_bytes = bytes;
    view.m_identity = reader.number<std::uint64_t>();
    view.m_valueCount = reader.number<std::uint32_t>();
    view.m_subkeyCount = reader.number<std::uint32_t>();
    const auto nameSize = reader.number<std::uint32_t>();
    if (!reader.ok() || magic != kMagic || size != bytes.size())
        return std::nullopt;
    // Counts of 32 bits: their sum times four can't overflow 64.
    const std::size_t entries = std::size_t{view.m_valueCount} + view.m_subkeyCount;
    reader.text(entries * kOffsetBytes);
    view.m_name = reader.text(nameSize);
    if (!reader.ok())
        return std::nullopt;
    return view;
}

std::uint32_t RecordView::offsetAt(std::uint32_t index) const {
    std::uint32_t offset = 0;
    std::memcpy(&offset, m_bytes.data() + kHeaderBytes + std::size_t{index} * kOffsetBytes, sizeof offset);
    return offset;
}

bool RecordView::readValue(std::uint32_t offset, RecordValue& value, std::size_t& end) const {
    if (offset > m_bytes.size())
        return false;
    Reader reader(m_bytes.substr(offset));
    value.type = reader.number<std::uint32_t>();
    const auto dataSize = reader.number<std::uint32_t>();
    const auto foldedSize = reader.number<std::uint16_t>();
    const auto writtenSize = reader.number<std::uint16_t>();
    const auto form = reader.number<std::uint8_t>();
    value.folded = reader.text(foldedSize);
    value.written = reader.text(writtenSize);
    value.data = reader.text(dataSize);
    value.form = static_cast<Form>(form);
    end = m_bytes.size() - reader.left();
    return reader.ok() && form <= static_cast<std::uint8_t>(Form::Wide);
}

bool RecordView::readSubkey(std::uint32_t offset, RecordSubkey& subkey, std::size_t& end) const {
    if (offset > m_bytes.size())
        return false;
    Reader reader(m_bytes.substr(offset));
    const auto foldedSize = reader.number<std::uint16_t>();
    const auto writtenSize = reader.number<std::uint16_t>();
    subkey.folded = reader.text(foldedSize);
    subkey.written = reader.text(writtenSize);
    end = m_bytes.size() - reader.left();
    return reader.ok();
}

Lookup RecordView::findValue(std::string_view folded, RecordValue& value) const {
    std::size_t end = 0;
    std::uint32_t low = 0;
    std::uint32_t high = m_valueCount;
    while (low < high) {
        const std::uint32_t middle = low + (high - low) / 2;
        if (!readValue(offsetAt(middle), value, end))
            return Lookup::Malformed;
        const int order = value.folded.compare(folded);
        if (order == 0)
            return Lookup::Found;
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return Lookup::Missing;
}

Lookup RecordView::valueAt(std::uint32_t index, RecordValue& value) const {
    std::size_t end = 0;
    if (index >= m_valueCount)
        return Lookup::Missing;
    return readValue(offsetAt(index), value, end) ? Lookup::Found : Lookup::Malformed;
}

Lookup RecordView::subkeyAt(std::uint32_t index, RecordSubkey& subkey) const {
    std::size_t end = 0;
    if (index >= m_subkeyCount)
        return Lookup::Missing;
    return readSubkey(offsetAt(m_valueCount + index), subkey, end) ? Lookup::Found : Lookup::Malformed;
}

bool RecordView::isWellFormed() const {
    if (!isName(m_name))
        return false;
    // Each entry begins where the previous one ends, and its name is ordered after the previous one's.
    std::size_t end = kHeaderBytes + (std::size_t{m_valueCount} + m_subkeyCount) * kOffsetBytes + m_name.size();
    RecordValue value;
    for (std::uint32_t i = 0; i < m_valueCount; ++i) {
        const std::string_view previous = value.folded;
        if (offsetAt(i) != end || !readValue(offsetAt(i), value, end) || !isNamed(value))
            return false;
        if (i > 0 && previous >= value.folded)
            return false;
    }
    RecordSubkey subkey;
    for (std::uint32_t i = 0; i < m_subkeyCount; ++i) {
        const std::string_view previous = subkey.folded;
        const std::uint32_t offset = offsetAt(m_valueCount + i);
        if (offset != end || !readSubkey(offset, subkey, end) || !isNamed(subkey))
            return false;
        if (subkey.folded.empty() || (i > 0 && previous >= subkey.folded))
            return false;
    }
    return end == m_bytes.size();
}

std::optional<RecordEditor> RecordEditor::open(std::string_view bytes) {
    const auto view = RecordView::open(bytes);
    if (!view || !view->isWellFormed())
        return std::nullopt;
    RecordEditor editor(view->name(), view->identity());
    editor.m_values.resize(view->valueCount());
    for (std::uint32_t i = 0; i < view->valueCount(); ++i)
        view->valueAt(i, editor.m_values[i]);
    editor.m_subkeys.resize(view->subkeyCount());
    for (std::uint32_t i = 0; i < view->subkeyCount(); ++i)
        view->subkeyAt(i, editor.m_subkeys[i]);
    return editor;
}

void RecordEditor::setValue(const RecordValue& value) {
    const auto at = lowerBound(m_values, value.folded);
    if (at == m_values.end() || at->folded != value.folded) {
        m_values.insert(at, value);
        return;
    }
    at->type = value.type;
    at->form = value.form;
    at->data = value.data;
}

bool RecordEditor::removeValue(std::string_view folded) {
    return removeEntry(m_values, folded);
}

bool RecordEditor::addSubkey(const RecordSubkey& subkey) {
    const auto at = lowerBound(m_subkeys, subkey.folded);
    if (at != m_subkeys.end() && at->folded == subkey.folded)
        return false;
    m_subkeys.insert(at, subkey);
    return true;
}

bool RecordEditor::removeSubkey(std::string_view folded) {
    return removeEntry(m_subkeys, folded);
}

std::optional<std::string> RecordEditor::build() const {
    const std::size_t head = kHeaderBytes + (m_values.size() + m_subkeys.size()) * kOffsetBytes + m_name.size();
    std::size_t size = head;
    for (const RecordValue& value : m_values)
        size += sizeOf(value);
    for (const RecordSubkey& subkey : m_subkeys)
        size += sizeOf(subkey);
    if (size > kMaxBytes)
        return std::nullopt;

    std::string bytes;
    bytes.reserve(size);
    appendNumber(bytes, kMagic);
    appendNumber(bytes, static_cast<std::uint32_t>(size));
    appendNumber(bytes, m_identity);
    appendNumber(bytes, static_cast<std::uint32_t>(m_values.size()));
    appendNumber(bytes, static_cast<std::uint32_t>(m_subkeys.size()));
    appendNumber(bytes, static_cast<std::uint32_t>(m_name.size()));
    std::size_t offset = head;
    for (const RecordValue& value : m_values) {
        appendNumber(bytes, static_cast<std::uint32_t>(offset));
        offset += sizeOf(value);
    }
    for (const RecordSubkey& subkey : m_subkeys) {
        appendNumber(bytes, static_cast<std::uint32_t>(offset));
        offset += sizeOf(subkey);
    }
    bytes.append(m_name);
    for (const RecordValue& value : m_values)
        appendEntry(bytes, value);
    for (const RecordSubkey& subkey : m_subkeys)
        appendEntry(bytes, subkey);
    return bytes;
}

} // namespace wd

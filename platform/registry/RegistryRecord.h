// The record of one registry key: its name as written, its values, the names of its subkeys. A view reads a record in
// place, checks each length before it uses it and so never leaves the record, whatever its bytes are; an editor makes
// the next version of it. Neither knows the database. The bytes belong to whoever passed them.
//
//   header     magic (with the format's version), size of the record, identity, number of values, of subkeys, size of
//              the name
//   offsets    a 32-bit offset for each value, then for each subkey, both in the order of the folded names
//   name       as written
//   values     type, size of data, sizes of folded and written name, form, folded name, written name, data
//   subkeys    sizes of folded and written name, folded name, written name
//
// Numbers are little-endian and unaligned, names are coded as in RegistryName.h, and the parts follow each other
// without gaps.
#pragma once

#include <platform/base.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wd {

// How a value's bytes were written: text in the code page, text in UTF-16, or bytes that aren't text.
enum class Form : std::uint8_t { Bytes = 0, Narrow = 1, Wide = 2 };

struct RecordValue {
    std::string_view folded;
    std::string_view written;
    DWORD type = 0;
    Form form = Form::Bytes;
    std::string_view data;
};

struct RecordSubkey {
    std::string_view folded;
    std::string_view written;
};

enum class Lookup { Found, Missing, Malformed };

class RecordView {
  public:
    // No value unless the bytes begin as a record of exactly their size does.
    static std::optional<RecordView> open(std::string_view bytes);

    std::uint64_t identity() const { return m_identity; }
    std::uint32_t valueCount() const { return m_valueCount; }
    std::uint32_t subkeyCount() const { return m_subkeyCount; }

    Lookup findValue(std::string_view folded, RecordValue& value) const;
    Lookup valueAt(std::uint32_t index, RecordValue& value) const;
    Lookup subkeyAt(std::uint32_t index, RecordSubkey& subkey) const;

    std::string_view name() const { return m_name; }
    std::string_view bytes() const { return m_bytes; }

    // Whether all of the record is exactly as an editor makes it: what is written back must not carry damage along.
    bool isWellFormed() const;

  private:
    bool readValue(std::uint32_t offset, RecordValue& value, std::size_t& end) const;
    bool readSubkey(std::uint32_t offset, RecordSubkey& subkey, std::size_t& end) const;
    std::uint32_t offsetAt(std::uint32_t index) const;

    std::string_view m_bytes;
    std::string_view m_name;
    std::uint64_t m_identity = 0;
    std::uint32_t m_valueCount = 0;
    std::uint32_t m_subkeyCount = 0;
};

class RecordEditor {
  public:
    // A key without values and subkeys.
    RecordEditor(std::string_view name, std::uint64_t identity) : m_name(name), m_identity(identity) {}
    // An existing record; no value for a malformed one. The texts aren't copied: they must stay valid until build().
    static std::optional<RecordEditor> open(std::string_view bytes);

    // Replaces the value of that name, which keeps its spelling, or adds it.
    void setValue(const RecordValue& value);
    bool removeValue(std::string_view folded);
    bool addSubkey(const RecordSubkey& subkey);
    bool removeSubkey(std::string_view folded);

    // No value when the record would be larger than kMaxBytes.
    std::optional<std::string> build() const;

    static constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

  private:
    std::string_view m_name;
    std::uint64_t m_identity = 0;
    std::vector<RecordValue> m_values;
    std::vector<RecordSubkey> m_subkeys;
};

} // namespace wd

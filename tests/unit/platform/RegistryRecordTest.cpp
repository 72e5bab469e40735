// Records of keys as bytes: anything else isn't taken for a record.
#include "RegistryRecord.h"
#include "RegistryName.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using wd::Form;
using wd::Lookup;
using wd::RecordEditor;
using wd::RecordValue;
using wd::RecordView;

std::string sampleRecord() {
    RecordEditor editor("Sample", 0x1122334455667788);
    editor.setValue({"PORT", "Port", 4, Form::Bytes, std::string_view("\x10\x27\0\0", 4)});
    editor.setValue({"WIDE", "wide", 1, Form::Wide, std::string_view("t\0\0\0", 4)});
    editor.setValue({"", "", 3, Form::Bytes, ""});
    editor.addSubkey({"CONFIG", "config"});
    editor.addSubkey({"REDIRECT", "Redirect"});
    return editor.build().value();
}

// Also with the size field adjusted, so that the truncation must be noticed further inside.
TEST(RegistryRecord, NoTruncationIsARecord) {
    const std::string bytes = sampleRecord();
    EXPECT_EQ(RecordEditor::open(bytes)->build(), bytes);
    EXPECT_FALSE(RecordView::open(bytes + "x"));
    for (std::uint32_t size = 0; size < bytes.size(); ++size) {
        std::string cut = bytes.substr(0, size);
        EXPECT_FALSE(RecordView::open(cut)) << size;
        if (size >= 8)
            std::memcpy(cut.data() + 4, &size, sizeof size);
        EXPECT_FALSE(RecordEditor::open(cut)) << size;
    }
}

TEST(RegistryRecord, DamageInOrderNamesOrFormsIsSeenBeforeAChange) {
    const std::string bytes = sampleRecord();
    const auto port = bytes.find("PORT");
    for (const auto& [at, byte] : {std::pair{port, 'Z'}, {bytes.find("config"), '\x80'}, {port - 1, '\3'}}) {
        std::string damaged = bytes;
        damaged[at] = byte;
        EXPECT_FALSE(RecordEditor::open(damaged)) << at - port;
        RecordValue value;
        EXPECT_EQ(RecordView::open(damaged)->findValue("PORT", value), byte == '\3'  ? Lookup::Malformed
                                                                       : byte == 'Z' ? Lookup::Missing
                                                                                     : Lookup::Found);
    }
}

// The coding also keeps the order of the units, which enumeration relies on.
TEST(RegistryNames, UnitsSurviveTheirCoding) {
    std::u16string units;
    for (unsigned unit = 1; unit < 0x10000; ++unit)
        units += static_cast<char16_t>(unit);
    EXPECT_EQ(wd::unitsFromCoded(wd::codeUnits(units)), units);
    for (unsigned unit = 1; unit < 0xFFFF; ++unit)
        ASSERT_LT(wd::codeUnits(units.substr(unit - 1, 1)), wd::codeUnits(units.substr(unit, 1))) << unit;
    for (const std::string_view bytes :
         {"\x80", "\xc3", "\xc3(", "\xc0\x80", "\xe0\x9f\xbf", "\xe2\x82", "\xe2\x82x", "\xf0\x90\x80\x80", "\xff"})
        EXPECT_FALSE(wd::unitsFromCoded(bytes)) << bytes;
}

} // namespace

// Records of keys as bytes: what an editor makes, a view reads; whatever else the bytes are, nobody reads past their
// end.
#include "RegistryRecord.h"
#include "RegistryName.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

namespace {

using wd::Form;
using wd::Lookup;
using wd::RecordEditor;
using wd::RecordSubkey;
using wd::RecordValue;
using wd::RecordView;

std::string sampleRecord() {
    RecordEditor editor("Sample", 0x1122334455667788);
    editor.setValue({"PORT", "Port", 4, Form::Bytes, std::string_view("\x10\x27\0\0", 4)});
    editor.setValue({"NAME", "Name", 1, Form::Narrow, std::string_view("text\0", 5)});
    editor.setValue({"WIDE", "wide", 1, Form::Wide, std::string_view("t\0\0\0", 4)});
    editor.setValue({"", "", 3, Form::Bytes, ""});
    editor.addSubkey({"CONFIG", "config"});
    editor.addSubkey({"REDIRECT", "Redirect"});
    return editor.build().value();
}

// Reads all that can be read of some bytes; they lie in a block of exactly their size, so that a sanitizer sees any
// step beyond. Gives what was read, so that no reading is left out by the compiler.
std::size_t readEverything(std::string_view bytes) {
    const auto block = std::make_unique<char[]>(bytes.size());
    std::memcpy(block.get(), bytes.data(), bytes.size());
    const std::string_view exact(block.get(), bytes.size());
    const auto view = RecordView::open(exact);
    if (!view)
        return 0;
    std::size_t read = view->name().size() + (view->isWellFormed() ? 1 : 0);
    const auto add = [&](std::string_view text) {
        for (const char c : text)
            read += static_cast<unsigned char>(c);
        EXPECT_TRUE(text.empty() ||
                    (text.data() >= exact.data() && text.data() + text.size() <= exact.data() + exact.size()));
    };
    RecordValue value;
    for (std::uint32_t i = 0; i < view->valueCount() + 2; ++i)
        if (view->valueAt(i, value) == Lookup::Found) {
            add(value.folded);
            add(value.written);
            add(value.data);
        }
    for (const char* name : {"", "NAME", "PORT", "ZZZ"})
        if (view->findValue(name, value) == Lookup::Found)
            add(value.data);
    RecordSubkey subkey;
    for (std::uint32_t i = 0; i < view->subkeyCount() + 2; ++i)
        if (view->subkeyAt(i, subkey) == Lookup::Found)
            add(subkey.written);
    if (const auto editor = RecordEditor::open(exact))
        read += editor->build().value_or("").size();
    return read;
}

TEST(RegistryRecord, ReadsWhatWasWritten) {
    const std::string bytes = sampleRecord();
    const auto view = RecordView::open(bytes);
    ASSERT_TRUE(view);
    EXPECT_TRUE(view->isWellFormed());
    EXPECT_EQ(view->identity(), 0x1122334455667788u);
    EXPECT_EQ(view->name(), "Sample");
    ASSERT_EQ(view->valueCount(), 4u);
    ASSERT_EQ(view->subkeyCount(), 2u);
    RecordValue value;
    ASSERT_EQ(view->findValue("WIDE", value), Lookup::Found);
    EXPECT_EQ(value.written, "wide");
    EXPECT_EQ(value.form, Form::Wide);
    EXPECT_EQ(value.data, std::string_view("t\0\0\0", 4));
    EXPECT_EQ(view->findValue("wide", value), Lookup::Missing);
    RecordSubkey subkey;
    ASSERT_EQ(view->subkeyAt(1, subkey), Lookup::Found);
    EXPECT_EQ(subkey.written, "Redirect");
    EXPECT_EQ(view->subkeyAt(2, subkey), Lookup::Missing);
    EXPECT_EQ(RecordEditor::open(bytes)->build(), bytes);
}

TEST(RegistryRecord, AnEditorTellsWhetherAnythingChanged) {
    const std::string bytes = sampleRecord();
    auto editor = RecordEditor::open(bytes);
    ASSERT_TRUE(editor);
    EXPECT_FALSE(editor->addSubkey({"CONFIG", "CONFIG"}));
    EXPECT_FALSE(editor->removeSubkey("NOTHING"));
    EXPECT_TRUE(editor->removeSubkey("CONFIG"));
    EXPECT_TRUE(editor->removeValue(""));
    EXPECT_FALSE(editor->removeValue(""));
}

TEST(RegistryRecord, NoTruncationIsARecord) {
    const std::string bytes = sampleRecord();
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_EQ(readEverything(std::string_view(bytes).substr(0, size)), 0u) << size;
    EXPECT_EQ(readEverything(bytes + "x"), 0u);
    EXPECT_NE(readEverything(bytes), 0u);
}

// Also with the size field made to fit, so that the truncation has to be noticed further in.
TEST(RegistryRecord, TruncationsThatClaimTheirSizeAreRefusedForChange) {
    const std::string bytes = sampleRecord();
    for (std::size_t size = 8; size < bytes.size(); ++size) {
        std::string cut = bytes.substr(0, size);
        const auto claimed = static_cast<std::uint32_t>(size);
        std::memcpy(cut.data() + 4, &claimed, sizeof claimed);
        EXPECT_FALSE(RecordEditor::open(cut)) << size;
        readEverything(cut);
    }
}

TEST(RegistryRecord, FlippedBitsNeverLeadOutside) {
    const auto seed = std::random_device()();
    std::mt19937 random(seed);
    const std::string bytes = sampleRecord();
    for (int round = 0; round < 20000; ++round) {
        std::string damaged = bytes;
        for (auto flips = random() % 4 + 1; flips > 0; --flips) {
            const auto at = random() % damaged.size();
            damaged[at] = static_cast<char>(damaged[at] ^ (1 << (random() % 8)));
        }
        if (round % 2 == 0) { // huge counts and sizes
            const auto at = 16 + random() % (damaged.size() - 20);
            const auto number = static_cast<std::uint32_t>(random());
            std::memcpy(damaged.data() + at, &number, sizeof number);
        }
        readEverything(damaged);
        ASSERT_FALSE(HasFailure()) << "seed " << seed << ", round " << round;
    }
}

TEST(RegistryRecord, DamageInOrderOrNamesIsSeenBeforeAChange) {
    const std::string bytes = sampleRecord();
    const auto at = bytes.find("PORT");
    std::string unsorted = bytes;
    unsorted[at] = 'A';
    EXPECT_FALSE(RecordEditor::open(unsorted));
    std::string uncoded = bytes;
    uncoded[bytes.find("config")] = '\x80';
    EXPECT_FALSE(RecordEditor::open(uncoded));
    std::string badForm = bytes;
    badForm[at - 1] = 3;
    EXPECT_FALSE(RecordEditor::open(badForm));
    RecordValue value;
    EXPECT_EQ(RecordView::open(badForm)->findValue("PORT", value), Lookup::Malformed);
}

TEST(RegistryRecord, TooLargeARecordIsNotBuilt) {
    RecordEditor editor("Large", 1);
    const std::string megabyte(1 << 20, 'x');
    std::string names[65];
    for (int i = 0; i < 64; ++i) {
        names[i] = std::to_string(100 + i);
        editor.setValue({names[i], names[i], 3, Form::Bytes, megabyte});
    }
    EXPECT_FALSE(editor.build());
    EXPECT_TRUE(editor.removeValue("100"));
    EXPECT_TRUE(editor.build());
}

TEST(RegistryNames, UnitsSurviveTheirCoding) {
    std::u16string units;
    for (unsigned unit = 1; unit < 0x10000; ++unit)
        units += static_cast<char16_t>(unit);
    EXPECT_EQ(wd::unitsFromCoded(wd::codeUnits(units)), units);
    // Byte order is unit order: enumeration relies on it.
    for (unsigned unit = 1; unit < 0xFFFF; ++unit)
        ASSERT_LT(wd::codeUnits(units.substr(unit - 1, 1)), wd::codeUnits(units.substr(unit, 1))) << unit;
}

TEST(RegistryNames, BytesThatAreNoCodingAreRefused) {
    for (const std::string_view bytes :
         {"\x80", "\xc3", "\xc3(", "\xc0\x80", "\xe0\x9f\xbf", "\xe2\x82", "\xe2\x82x", "\xf0\x90\x80\x80", "\xff"})
        EXPECT_FALSE(wd::unitsFromCoded(bytes)) << bytes;
}

} // namespace

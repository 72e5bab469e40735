#include "RecordFields.h"

#include "ToolError.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

struct Sample {
    std::uint16_t port;
    char path[8];
    std::uint32_t flag;
    std::uint32_t count;
    std::uint32_t list[3];
    char password[8];
    std::uint64_t big;
    char names[3][4];
};

constexpr Field kPort = numberField(WDLT_MEMBER(Sample, port), "");
constexpr Field kPath = textField(WDLT_MEMBER(Sample, path), "");
constexpr Field kLevel = numberField(WDLT_MEMBER(Sample, flag), "").atMost(2);
constexpr Field kShort = signedField(WDLT_MEMBER(Sample, port), "");
constexpr Field kLong = signedField(WDLT_MEMBER(Sample, big), "");
constexpr Field kFlag = flagField(WDLT_MEMBER(Sample, flag), "");
constexpr Field kCount = numberField(WDLT_MEMBER(Sample, count), "").readOnly();
constexpr Field kList = numberListField(WDLT_MEMBER(Sample, list), offsetof(Sample, count), "");
constexpr Field kPassword = textField(WDLT_MEMBER(Sample, password), "").secret();
constexpr Field kBig = numberField(WDLT_MEMBER(Sample, big), "");
constexpr Field kNames = nameListField(WDLT_MEMBER(Sample, names), sizeof(Sample::names[0]), "");

using Bytes = std::array<BYTE, sizeof(Sample)>;

Bytes bytesOf(const Sample& sample) {
    Bytes bytes{};
    std::memcpy(bytes.data(), &sample, sizeof sample);
    return bytes;
}

TEST(RecordFields, ShowsEachKind) {
    const Bytes bytes = bytesOf({6999, "C:\\\x01", 1, 2, {1, 3, 9}, "hush", 0xFFFFFFFFFFFFFFFF, {"ab", "cde"}});
    const struct {
        const Field& field;
        const char* text;
        Json json;
    } cases[] = {
        {kPort, "6999", 6999},
        {kPath, "C:\\\\x01", "C:\\\x01"},
        {kFlag, "1", 1},
        {kCount, "2", 2},
        {kList, "1 3", Json::array({1, 3})},
        {kPassword, "(secret)", "(secret)"},
        {kBig, "18446744073709551615", 18446744073709551615u},
        {kLong, "-1", -1},
        {kShort, "6999", 6999},
        {kNames, "ab,cde", Json::array({"ab", "cde"})},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(fieldText(each.field, bytes, false), each.text) << each.field.name;
        EXPECT_EQ(fieldJson(each.field, bytes, false), each.json) << each.field.name;
    }
    EXPECT_EQ(fieldText(kPassword, bytes, true), "hush");
    EXPECT_EQ(fieldJson(kPassword, bytes, true), "hush");
}

TEST(RecordFields, NeverShowsMoreThanTheFieldHolds) {
    Sample sample = {0, "", 0, 77, {4, 5, 6}, "", 0, {}};
    std::memset(sample.path, 'x', sizeof sample.path);
    std::memset(sample.names, 'y', sizeof sample.names);
    const Bytes bytes = bytesOf(sample);
    EXPECT_EQ(fieldText(kPath, bytes, false), "xxxxxxxx");
    EXPECT_EQ(fieldText(kList, bytes, false), "4 5 6");
    EXPECT_EQ(fieldText(kNames, bytes, false), "yyyy,yyyy,yyyy");
}

TEST(RecordFields, SetsWithinTheFieldAlone) {
    Bytes bytes;
    bytes.fill(0xAA);
    Bytes expected = bytes;
    const auto put = [&](const Field& field, std::initializer_list<int> values) {
        std::size_t i = field.offset;
        for (const int value : values)
            expected[i++] = static_cast<BYTE>(value);
    };
    setField(kPort, bytes, "0xFFFF");
    put(kPort, {0xFF, 0xFF});
    setField(kShort, bytes, "-32768");
    put(kShort, {0, 0x80});
    setField(kPath, bytes, "1234567");
    put(kPath, {'1', '2', '3', '4', '5', '6', '7', 0});
    setField(kFlag, bytes, "1");
    put(kFlag, {1, 0, 0, 0});
    setField(kBig, bytes, "18446744073709551615");
    put(kBig, {255, 255, 255, 255, 255, 255, 255, 255});
    setField(kNames, bytes, "a,bcd");
    put(kNames, {'a', 0, 0, 0, 'b', 'c', 'd', 0, 0, 0, 0, 0});
    EXPECT_EQ(bytes, expected);
    setField(kNames, bytes, "");
    put(kNames, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    setField(kPath, bytes, "");
    put(kPath, {0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(bytes, expected);
}

TEST(RecordFields, RefusesWhatAFieldCannotHold) {
    const struct {
        const Field& field;
        const char* text;
    } cases[] = {
        {kPort, "65536"},    {kPort, ""},     {kPort, "-1"},
        {kPort, "1 "},       {kPort, "0x"},   {kPort, "12a"},
        {kFlag, "2"},        {kLevel, "3"},   {kShort, "-32769"},
        {kShort, "32768"},   {kShort, "-"},   {kBig, "18446744073709551616"},
        {kPath, "12345678"}, {kCount, "1"},   {kList, "1"},
        {kNames, "a,,b"},    {kNames, "a,"},  {kNames, "abcd"},
        {kNames, "a,b,c,d"}, {kPath, "\xFF"}, {kPassword, "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"},
    };
    for (const auto& each : cases) {
        Bytes bytes;
        bytes.fill(0xAA);
        const Bytes before = bytes;
        try {
            setField(each.field, bytes, each.text);
            ADD_FAILURE() << each.field.name << " took " << each.text;
        } catch (const ToolError& error) {
            EXPECT_EQ(error.status(), ExitStatus::Usage);
            EXPECT_EQ(std::string(error.what()).find(each.field.name), 0u) << error.what();
        }
        EXPECT_EQ(bytes, before) << each.field.name << " " << each.text;
    }
}

} // namespace
} // namespace wdlt

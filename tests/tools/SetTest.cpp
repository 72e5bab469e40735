// Fields at their limits, and what set and reset say.
#include "Catalog.h"
#include "Typed.h"

namespace {

using wdlt::Field;
using wdlt::FieldKind;

bool isSet(const Field& field) {
    return !field.isReadOnly && !field.isKept;
}

json lowest(const Field& field) {
    if (field.kind == FieldKind::Number)
        return field.isSigned ? json(INT32_MIN) : json(wdlt::rangeOf(field).low);
    if (field.kind == FieldKind::NameList)
        return json::array();
    return field.isDirectory ? "/\\" : "x";
}

std::uint64_t most(const Field& field) {
    if (field.kind != FieldKind::Number)
        return field.kind == FieldKind::NameList ? field.slotBytes - 1 : wdlt::mostBytes(field);
    return field.isSigned ? INT32_MAX : wdlt::rangeOf(field).high;
}

json highest(const Field& field) {
    if (field.kind == FieldKind::Number)
        return most(field);
    std::string text(most(field), 'm');
    if (field.kind == FieldKind::NameList)
        return std::vector<std::string>(field.bytes / field.slotBytes, text);
    if (field.isDirectory) {
        text.front() = '/';
        text.back() = '\\';
    }
    return text;
}

std::string assigned(const Field& field, const json& value) {
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    if (value.is_array()) {
        text.clear();
        for (const json& name : value)
            text += (text.empty() ? "" : ",") + name.get<std::string>();
    }
    return ' ' + std::string(field.member) + '=' + text;
}

// One more than the most is refused, as a number or as a text's length.
void expectLimit(const std::string& set, const Field& field) {
    if (most(field) == UINT32_MAX)
        return;
    const std::string text =
        field.kind == FieldKind::Number ? std::to_string(most(field) + 1) : "/" + std::string(most(field), 'm');
    EXPECT_EQ(typed(set + assigned(field, text)).status, 2) << set << field.member;
}

std::string recordOf(const wdlt::Settings& settings) {
    return settings.name == "handler" ? "handler SMTP" : std::string(settings.name);
}

TEST_F(Wdltctl, WhatSetTakesIsWhatGetShows) {
    std::map<std::string, json> fresh;
    for (const wdlt::Settings& settings : wdlt::kSettings)
        if (!settings.name.empty())
            fresh[recordOf(settings)] = doneJson("--secrets get " + recordOf(settings));
    for (const wdlt::Settings& settings : wdlt::kSettings) {
        if (settings.name.empty())
            continue;
        const std::string record = recordOf(settings);
        const json before = fresh[record];
        std::string left; // by reset
        for (const auto& value : {lowest, highest}) {
            json expected = before;
            std::string line = "set " + record;
            left.clear();
            for (const Field& field : settings.fields) {
                if (!isSet(field))
                    continue;
                expected[std::string(field.member)] = value(field);
                line += assigned(field, value(field));
                if (!field.hasFresh || (field.isDirectory && !field.freshText.empty()))
                    left += assigned(field, before[std::string(field.member)]);
            }
            EXPECT_EQ(typed(line).status, 0) << line;
            EXPECT_EQ(doneJson("--secrets get " + record), expected) << record;
        }
        for (const Field& field : settings.fields)
            if (isSet(field))
                expectLimit("set " + record, field);
        done("reset " + record);
        if (!left.empty())
            done("set " + record + left);
        EXPECT_EQ(doneJson("--secrets get " + record), before) << record;
    }
}

} // namespace

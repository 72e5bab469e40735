// Prints the Python package's module wdltcfg/records.py: a class for each record that users know by name, with a typed
// attribute for each row of its table, and the features with their exports. The classes are built upon the structures of
// the public headers; each row's offset and size go along and are compared with them when the module is imported.
#include "Catalog.h"
#include "Described.h"
#include "Reached.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

namespace {

using namespace wdlt;

constexpr const char* kBegin = R"(# Printed by python_records from the tables in records/ at build time.
"""The records by name, and the features. Each record has its fields as attributes."""
from __future__ import annotations

from . import interface as c
from ._fields import Address, Exports, Flag, Names, Number, Numbers, Record, Text

)";

// "urlf-rating-server" as UrlfRatingServer.
std::string className(std::string_view record) {
    std::string name;
    bool begins = true;
    for (const char letter : record) {
        if (letter != '-')
            name.push_back(begins ? static_cast<char>(letter - 'a' + 'A') : letter);
        begins = letter == '-';
    }
    return name;
}

std::string attributeName(const Field& field) {
    std::string name = nameOf(field);
    std::ranges::replace(name, '-', '_');
    return name;
}

std::string quoted(std::string_view text) {
    std::string literal = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\')
            literal.push_back('\\');
        literal.push_back(letter);
    }
    return literal + '"';
}

const char* typeOf(const Field& field) {
    switch (field.kind) {
    case FieldKind::Number:
        return field.isFlag ? "Flag" : "Number";
    case FieldKind::Text:
    case FieldKind::SealedText:
        return "Text";
    case FieldKind::NameList:
        return "Names";
    case FieldKind::NumberList:
        return "Numbers";
    }
    return "";
}

// What else the row says that matters to who sets the field.
std::string limitsOf(const Field& field, std::span<const Field> fields) {
    if (field.kind == FieldKind::Number && !field.isFlag && (field.least != 0 || field.most != UINT32_MAX))
        return ", least=" + std::to_string(field.least) + ", most=" + std::to_string(field.most);
    if (field.kind == FieldKind::Text || field.kind == FieldKind::SealedText)
        return ", most=" + std::to_string(mostBytes(field));
    if (field.kind != FieldKind::NumberList)
        return "";
    const auto count = std::ranges::find(fields, field.countOffset, &Field::offset);
    return ", count=" + quoted(count->member);
}

const Settings& settingsOf(std::string_view record) {
    return *std::ranges::find_if(kSettings, [&](const Settings& settings) {
        return settings.name.substr(0, settings.name.find(' ')) == record;
    });
}

void printRecord(const char* name, const char* type, const std::string& reached) {
    const Settings& settings = settingsOf(name);
    std::printf("\nclass %s(Record, c.%s):\n    %s\n\n    RECORD = \"%s\"\n    _reached = %s\n",
                className(name).c_str(), type, quoted(settings.help).c_str(), name, reached.c_str());
    for (const Field& field : settings.fields)
        std::printf("    %s = %s(%s, %u, %u, %s%s%s%s)\n", attributeName(field).c_str(), typeOf(field),
                    quoted(field.member).c_str(), field.offset, field.bytes, quoted(field.help).c_str(),
                    limitsOf(field, settings.fields).c_str(), field.isSecret ? ", secret=True" : "",
                    field.isReadOnly || field.isKept ? ", read_only=True" : "");
    std::printf("\n");
}

std::string address(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t type) {
    return "Address(" + std::to_string(protocol) + ", " + std::to_string(scan) + ", " + std::to_string(input) + ", " +
           std::to_string(type) + ")";
}

} // namespace

int main() {
    std::fputs(kBegin, stdout);
#define WDLT_PRINT_EXPORTED(name, Type, read, write) printRecord(name, #Type, "Exports(\"" #read "\", \"" #write "\")");
#define WDLT_PRINT_ADDRESSED(name, Type, protocol, scan, input, type)                                                  \
    printRecord(name, #Type, address(protocol, scan, input, type));
#define WDLT_PRINT_PLACED(name, Type, row) printRecord(name, #Type, "None");
#define WDLT_PRINT_NO_RECORD(row)
    WDLT_RECORD_LIST(WDLT_PRINT_EXPORTED, WDLT_PRINT_ADDRESSED, WDLT_PRINT_PLACED, WDLT_PRINT_NO_RECORD)

    std::fputs("\nFEATURES = {\n", stdout);
#define WDLT_PRINT_FEATURE(name, help, isOn, enable, places)                                                           \
    std::fputs("    \"" name "\": Exports(\"" #isOn "\", \"" #enable "\"),  # " help "\n", stdout);
#define WDLT_PRINT_NO_FEATURE(name, row)
    WDLT_FEATURE_LIST(WDLT_PRINT_FEATURE, WDLT_PRINT_FEATURE, WDLT_PRINT_NO_FEATURE)
    std::fputs("}\n", stdout);
}

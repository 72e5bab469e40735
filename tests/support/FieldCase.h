// Describes a record that is stored value by value: one row per field, with everything that is special about it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

// A number or a text; a list of names is a text with commas.
struct Content {
    Content(std::uint32_t itsNumber) : number(itsNumber) {}
    Content(const char* itsText) : text(itsText) {}
    Content(std::string itsText) : text(std::move(itsText)) {}

    std::uint32_t number = 0;
    std::string text;
};

// An enciphered text is only tested empty, which is stored as no bytes.
enum class FieldShape { Number, Text, Names, Enciphered };

// What a read does about a value that it can't read.
struct Unread {
    std::optional<Content> content; // nullopt: the read fails there
    bool isTold = true;             // the record's line is logged; false: it must not be
};
inline Unread readsAs(Content content) {
    return {std::move(content), true};
}
inline Unread quietlyReadsAs(Content content) {
    return {std::move(content), false};
}

using Passages = std::vector<std::pair<Content, Content>>;

// One field; made by numberCase, textCase or namesCase below. Each member function adds one property.
struct FieldCase {
    const char* value; // its name in the registry
    std::size_t offset;
    std::size_t size;
    FieldShape shape;
    std::array<Content, 2> samples; // two valid contents
    std::size_t slotSize = 0;       // in a list of names
    Unread absent{};
    Unread tooLarge{};
    Passages asRead{};
    Passages asWritten{};
    bool correctsRecord = false;
    bool isWritten = true;
    bool isFixed = false;
    const char* logName = value;
    const char* logNameOnWrite = value;
    std::optional<std::array<Content, 2>> storedSamples{}; // if stored differently

    FieldCase& with(Content first, Content second) {
        samples = {std::move(first), std::move(second)};
        return *this;
    }
    FieldCase& storedAs(Content first, Content second) {
        storedSamples = {std::move(first), std::move(second)};
        return *this;
    }
    // The record's address depends on this value, so it must not change.
    FieldCase& fixedTo(const Content& content) {
        isFixed = true;
        return with(content, content);
    }
    FieldCase& whenAbsent(Unread unread) {
        absent = std::move(unread);
        return *this;
    }
    FieldCase& whenTooLarge(Unread unread) {
        tooLarge = std::move(unread);
        return *this;
    }
    FieldCase& whenUnreadable(const Unread& unread) {
        absent = tooLarge = unread;
        return *this;
    }
    // Pairs of what is stored and what is read; by default the least and the most that the field holds.
    FieldCase& reads(Passages passages) {
        asRead = std::move(passages);
        return *this;
    }
    // Pairs of what is written and what is stored; by default likewise.
    FieldCase& writes(Passages passages) {
        asWritten = std::move(passages);
        return *this;
    }
    // As writes, and what is stored is copied back to the caller's record.
    FieldCase& writesBack(Passages passages) {
        correctsRecord = true;
        return writes(std::move(passages));
    }
    FieldCase& neverWritten() {
        isWritten = false;
        return *this;
    }
    // The field's name in the log, if it isn't the value's name.
    FieldCase& named(const char* name, const char* nameOnWrite = nullptr) {
        logName = name;
        logNameOnWrite = nameOnWrite != nullptr ? nameOnWrite : name;
        return *this;
    }
};

// The runner makes the samples of a number that has none.
inline FieldCase numberCase(const char* value, std::size_t offset, std::size_t size) {
    return {value, offset, size, FieldShape::Number, {Content(0u), Content(0u)}};
}
inline FieldCase textCase(const char* value, std::size_t offset, std::size_t size,
                          FieldShape shape = FieldShape::Text) {
    const std::string sample(value);
    return {value, offset, size, shape, {Content(sample), Content(sample + "2")}};
}
inline FieldCase namesCase(const char* value, std::size_t offset, std::size_t size, std::size_t slotSize) {
    return {value, offset, size, FieldShape::Names, {Content("a,bc"), Content("def")}, slotSize};
}
#define WDLT_FIELD(Record, member) offsetof(Record, member), sizeof(Record::member)

struct RecordCase {
    const char* name = nullptr;
    std::uint32_t protocol = 0;
    std::uint32_t scan = 0;
    std::uint32_t input = 0;
    std::uint64_t configType = 0;
    std::string key{};
    std::size_t size = 0;
    std::vector<FieldCase> fields{};       // in the order of reading
    std::vector<std::string> writeOrder{}; // of values; empty: the order of reading
    // Log lines, with {field} and {status} as placeholders. Empty: nothing is logged.
    std::string unreadLine{};
    std::string unwrittenLine{};
    std::int32_t readCode = 0; // instead of the store's status, like the next
    std::int32_t writeCode = 0;

    // Fills in the rest of the record; and which bytes a test can't predict.
    std::function<void(BYTE* record)> rest{};
    std::vector<std::pair<std::size_t, std::size_t>> unseen{}; // offset and bytes
    std::size_t head = 0;                                      // bytes before the record in a read buffer
    std::optional<std::uint64_t> writeType{};                  // if it differs from the one for reading
};

inline void PrintTo(const RecordCase& record, std::ostream* out) {
    *out << record.name;
}

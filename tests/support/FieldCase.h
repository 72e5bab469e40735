// A record that is kept value by value, told as rows: a field of it each, and all that is special about it.
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

// A number or a text; a list of names as its text with commas.
struct Content {
    Content(std::uint32_t itsNumber) : number(itsNumber) {}
    Content(const char* itsText) : text(itsText) {}
    Content(std::string itsText) : text(std::move(itsText)) {}

    std::uint32_t number = 0;
    std::string text;
};

// An enciphered text is tried empty alone, which no bytes stand for.
enum class FieldShape { Number, Text, Names, Enciphered };

// What a read makes of a value that it can't have.
struct Unread {
    std::optional<Content> content; // none: the read ends there
    bool isTold = true;             // by the record's line; else the log has no such line
};
inline Unread readsAs(Content content) {
    return {std::move(content), true};
}
inline Unread quietlyReadsAs(Content content) {
    return {std::move(content), false};
}

using Passages = std::vector<std::pair<Content, Content>>;

// One field; made by numberCase, textCase or namesCase below. Each word tells one thing more of it.
struct FieldCase {
    const char* value; // its name in the registry
    std::size_t offset;
    std::size_t size;
    FieldShape shape;
    std::array<Content, 2> samples; // two legal contents
    std::size_t slotSize = 0;       // of a list of names
    Unread absent{};
    Unread tooLarge{};
    Passages asRead{};
    Passages asWritten{};
    bool correctsRecord = false;
    bool isWritten = true;
    bool isFixed = false;
    const char* logName = value;
    const char* logNameOnWrite = value;
    std::optional<std::array<Content, 2>> storedSamples{}; // where they aren't the same

    FieldCase& with(Content first, Content second) {
        samples = {std::move(first), std::move(second)};
        return *this;
    }
    FieldCase& storedAs(Content first, Content second) {
        storedSamples = {std::move(first), std::move(second)};
        return *this;
    }
    // What the record's address hangs on.
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
    // Stored, and what the record has of it; else the least and the most that its field holds.
    FieldCase& reads(Passages passages) {
        asRead = std::move(passages);
        return *this;
    }
    // In the record, and what is stored of it; else likewise.
    FieldCase& writes(Passages passages) {
        asWritten = std::move(passages);
        return *this;
    }
    // What is stored goes into the caller's record too.
    FieldCase& writesBack(Passages passages) {
        correctsRecord = true;
        return writes(std::move(passages));
    }
    FieldCase& neverWritten() {
        isWritten = false;
        return *this;
    }
    // As the log calls it, where that isn't the value's name.
    FieldCase& named(const char* name, const char* nameOnWrite = nullptr) {
        logName = name;
        logNameOnWrite = nameOnWrite != nullptr ? nameOnWrite : name;
        return *this;
    }
};

// Of a number without samples the runner makes some.
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
    // With {field} and {status} in it. Empty: a failed read has no line at all.
    std::string unreadLine{};
    std::string unwrittenLine{};
    std::int32_t readCode = 0; // in place of the store's, as the next
    std::int32_t writeCode = 0;

    // What else a read gives and a write is given; and what of it no test can tell beforehand.
    std::function<void(BYTE* record)> rest{};
    std::vector<std::pair<std::size_t, std::size_t>> unseen{}; // offset and bytes
    std::size_t head = 0;                                      // bytes in front of the record in a read buffer
    std::optional<std::uint64_t> writeType{};                  // where it isn't the one for reading
};

inline void PrintTo(const RecordCase& record, std::ostream* out) {
    *out << record.name;
}

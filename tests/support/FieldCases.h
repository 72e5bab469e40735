// Records that are kept value by value, told as rows, and what is tried with every one of them through the exports:
// each value absent and too large, at and around its limits, on reading and on writing; what a write leaves that fails
// at any of its values; what the service hears.
#pragma once

#include "FakeService.h"
#include "LoadedLibrary.h"
#include "RegistryRefusal.h"
#include "Tree.h"

#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <initializer_list>
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
    bool isTold = true;             // by the record's line
};
inline Unread endsTheRead() {
    return {};
}
inline Unread readsAs(Content content) {
    return {std::move(content), true};
}
inline Unread quietlyReadsAs(Content content) {
    return {std::move(content), false};
}

using Passages = std::vector<std::pair<Content, Content>>;

// One field; made by numberCase, textCase or namesCase below. Each word gives the case with one thing told.
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
    const char* logName = nullptr;
    const char* logNameOnWrite = nullptr;

    FieldCase with(Content first, Content second) const {
        FieldCase field = *this;
        field.samples = {std::move(first), std::move(second)};
        return field;
    }
    FieldCase whenAbsent(Unread unread) const {
        FieldCase field = *this;
        field.absent = std::move(unread);
        return field;
    }
    FieldCase whenUnreadable(const Unread& unread) const {
        FieldCase field = whenAbsent(unread);
        field.tooLarge = unread;
        return field;
    }
    FieldCase whenTooLarge(Unread unread) const {
        FieldCase field = *this;
        field.tooLarge = std::move(unread);
        return field;
    }
    // Stored, and what the record has of it.
    FieldCase reads(Passages passages) const {
        FieldCase field = *this;
        field.asRead = std::move(passages);
        return field;
    }
    // In the record, and what is stored of it.
    FieldCase writes(Passages passages) const {
        FieldCase field = *this;
        field.asWritten = std::move(passages);
        return field;
    }
    // What is stored goes into the caller's record too.
    FieldCase writesBack(Passages passages) const {
        FieldCase field = writes(std::move(passages));
        field.correctsRecord = true;
        return field;
    }
    FieldCase neverWritten() const {
        FieldCase field = *this;
        field.isWritten = false;
        return field;
    }
    // As the log calls it, where that isn't the value's name.
    FieldCase named(const char* name, const char* nameOnWrite = nullptr) const {
        FieldCase field = *this;
        field.logName = name;
        field.logNameOnWrite = nameOnWrite;
        return field;
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
    std::function<std::string(const std::string& field, std::int32_t status)> unreadLine{};
    std::function<std::string(const std::string& field, std::int32_t status)> unwrittenLine{};
    std::int32_t readCode = 0; // in place of the store's
};

inline void PrintTo(const RecordCase& record, std::ostream* out) {
    *out << record.name;
}

class FieldRunner {
  public:
    FieldRunner(const LoadedLibrary& library, const RecordCase& record) : m_library(library), m_record(record) {
        std::uint32_t next = 1000;
        for (FieldCase& field : m_record.fields)
            if (field.shape == FieldShape::Number && field.samples[0].number == field.samples[1].number)
                for (Content& sample : field.samples)
                    sample = ++next;
    }

    using Bytes = std::vector<BYTE>;

    // The record in which each field has its first (0) or second (1) sample, and the same in the registry.
    Bytes sample(std::size_t which) const {
        Bytes bytes(m_record.size);
        for (const FieldCase& field : m_record.fields)
            put(bytes, field, field.samples[which]);
        return bytes;
    }
    void layDown(std::size_t which) const {
        for (const FieldCase& field : m_record.fields)
            store(field, field.samples[which]);
    }

    // At an odd address, as any caller may.
    std::int32_t read(Bytes& bytes) const {
        std::uint64_t size = m_record.size;
        Bytes unaligned(1 + m_record.size, 0xEE);
        const std::int32_t status = WDLT_CALL(m_library, WdltReadConfigEx)(
            m_record.protocol, m_record.scan, m_record.input, m_record.configType, unaligned.data() + 1, &size);
        bytes.assign(unaligned.begin() + 1, unaligned.end());
        return status;
    }
    std::int32_t write(Bytes& bytes) const {
        Bytes unaligned{0xEE};
        unaligned.insert(unaligned.end(), bytes.begin(), bytes.end());
        const std::int32_t status = WDLT_CALL(m_library, WdltWriteConfigEx)(
            m_record.protocol, m_record.scan, m_record.input, m_record.configType, unaligned.data() + 1, m_record.size);
        bytes.assign(unaligned.begin() + 1, unaligned.end());
        return status;
    }

    void tryEachUnreadValue() const {
        for (const FieldCase& field : m_record.fields) {
            SCOPED_TRACE(field.value);
            layDown(0);
            tree::deleteValue(m_record.key, field.value);
            expectRead(field, field.absent, WDLT_E_NOT_FOUND);
            if (field.shape == FieldShape::Number)
                tree::set(m_record.key, field.value, REG_BINARY, "12345678", 8);
            else
                tree::setText(m_record.key, field.value, std::string(2000, 'a'));
            expectRead(field, field.tooLarge, WDLT_E_BUFFER_SIZE);
        }
    }

    void tryLimitsOnRead() const {
        for (const FieldCase& field : m_record.fields)
            for (const auto& [stored, expected] : field.asRead) {
                SCOPED_TRACE(describe(field, stored));
                layDown(0);
                store(field, stored);
                Bytes wanted = sample(0);
                put(wanted, field, expected);
                Bytes bytes;
                EXPECT_EQ(read(bytes), WDLT_OK);
                EXPECT_EQ(bytes, wanted);
                EXPECT_EQ(storedValue(field), valueOf(field, stored)); // a read corrects nothing in the registry
            }
    }

    void tryLimitsOnWrite() const {
        for (const FieldCase& field : m_record.fields)
            for (const auto& [given, expected] : field.asWritten) {
                SCOPED_TRACE(describe(field, given));
                layDown(0);
                Bytes bytes = sample(1);
                put(bytes, field, given);
                Bytes wanted = bytes;
                if (field.correctsRecord)
                    put(wanted, field, expected);
                EXPECT_EQ(write(bytes), WDLT_OK);
                EXPECT_EQ(bytes, wanted);
                EXPECT_EQ(storedValue(field), valueOf(field, expected));
            }
    }

    // A text that fills its field, or its list's slot: it would never be read again.
    void tryTextsWithoutTerminator() const {
        for (const FieldCase& field : m_record.fields) {
            if (field.shape == FieldShape::Number || !field.isWritten)
                continue;
            SCOPED_TRACE(field.value);
            layDown(0);
            Bytes bytes = sample(1);
            const std::size_t filled = field.shape == FieldShape::Names ? field.slotSize : field.size;
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(field.offset), filled, BYTE{'x'});
            const Bytes given = bytes;
            EXPECT_EQ(write(bytes), WDLT_E_INVALID_ARGUMENT);
            EXPECT_EQ(bytes, given);
            for (const FieldCase& each : m_record.fields)
                EXPECT_EQ(storedValue(each), valueOf(each, each.samples[0])) << each.value;
            EXPECT_TRUE(m_library.logged(m_record.unwrittenLine(logName(field), WDLT_E_INVALID_ARGUMENT)));
        }
    }

    // Into a tree with the values and into one without.
    void tryWriting() const {
        for (const bool isThere : {false, true}) {
            for (const FieldCase& field : m_record.fields)
                tree::deleteValue(m_record.key, field.value);
            if (isThere)
                layDown(0);
            Bytes bytes = sample(1);
            EXPECT_EQ(write(bytes), WDLT_OK);
            EXPECT_EQ(bytes, sample(1));
            for (const FieldCase& field : m_record.fields) {
                const auto untouched = isThere ? std::optional(valueOf(field, field.samples[0])) : std::nullopt;
                EXPECT_EQ(storedValue(field),
                          field.isWritten ? std::optional(valueOf(field, field.samples[1])) : untouched)
                    << field.value;
            }
        }
    }

    // Fails a write at each of its values in turn.
    void tryFailingWrites() const {
        const std::vector<std::string> order = writeOrder();
        for (std::size_t failing = 0; failing < order.size(); ++failing) {
            SCOPED_TRACE(order[failing]);
            layDown(0);
            Bytes bytes = sample(1);
            {
                const FailingWrite refused(static_cast<int>(failing) + 1);
                EXPECT_EQ(write(bytes), WDLT_E_REGISTRY);
            }
            for (const FieldCase& field : m_record.fields) {
                const auto at = static_cast<std::size_t>(std::ranges::find(order, field.value) - order.begin());
                EXPECT_EQ(storedValue(field), valueOf(field, field.samples[at < failing ? 1 : 0])) << field.value;
            }
            const FieldCase& field = *std::ranges::find_if(
                m_record.fields, [&](const FieldCase& each) { return order[failing] == each.value; });
            const char* const name = field.logNameOnWrite != nullptr ? field.logNameOnWrite : logName(field);
            EXPECT_TRUE(m_library.logged(m_record.unwrittenLine(name, WDLT_E_REGISTRY)));
        }
    }

    // A write that succeeds is told, nothing else is.
    void tryNotifying() const {
        ChangeListener service;
        Bytes bytes = sample(0);
        EXPECT_EQ(write(bytes), WDLT_OK);
        EXPECT_EQ(read(bytes), WDLT_OK);
        EXPECT_EQ(service.heard(), (std::vector<Change>{{m_record.protocol, m_record.scan}}));
        const FailingWrite refused(1);
        EXPECT_EQ(write(bytes), WDLT_E_REGISTRY);
        EXPECT_EQ(service.heard(), std::vector<Change>{});
    }

  private:
    static const char* logName(const FieldCase& field) {
        return field.logName != nullptr ? field.logName : field.value;
    }
    static std::string describe(const FieldCase& field, const Content& content) {
        return std::string(field.value)
            .append(" of ")
            .append(field.shape == FieldShape::Number ? std::to_string(content.number) : content.text);
    }

    std::vector<std::string> writeOrder() const {
        if (!m_record.writeOrder.empty())
            return m_record.writeOrder;
        std::vector<std::string> order;
        for (const FieldCase& field : m_record.fields)
            if (field.isWritten)
                order.emplace_back(field.value);
        return order;
    }

    static void put(Bytes& bytes, const FieldCase& field, const Content& content) {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(field.offset);
        std::fill_n(begin, field.size, BYTE{0});
        if (field.shape == FieldShape::Number)
            std::memcpy(&*begin, &content.number, field.size);
        else if (field.shape != FieldShape::Names)
            std::ranges::copy(content.text, begin);
        else
            for (std::size_t slot = 0, at = 0; at < content.text.size(); ++slot) {
                const std::size_t end = std::min(content.text.find(',', at), content.text.size());
                std::ranges::copy(content.text.substr(at, end - at),
                                  begin + static_cast<std::ptrdiff_t>(slot * field.slotSize));
                at = end + 1;
            }
    }

    // The bytes and the type of a value.
    using Stored = std::pair<DWORD, std::string>;
    static Stored valueOf(const FieldCase& field, const Content& content) {
        switch (field.shape) {
        case FieldShape::Number:
            return {REG_DWORD, std::string(reinterpret_cast<const char*>(&content.number), sizeof content.number)};
        case FieldShape::Enciphered:
            return {REG_BINARY, ""};
        case FieldShape::Text:
        case FieldShape::Names:
            break;
        }
        return {REG_SZ, content.text + '\0'};
    }
    void store(const FieldCase& field, const Content& content) const {
        const auto [type, data] = valueOf(field, content);
        tree::set(m_record.key, field.value, type, data.data(), static_cast<DWORD>(data.size()));
    }
    std::optional<Stored> storedValue(const FieldCase& field) const {
        auto value = tree::get(m_record.key, field.value);
        if (value && value->type == REG_SZ && value->data.empty())
            value->data = '\0'; // written without its terminator, an empty text has no bytes at all
        return value ? std::optional(Stored{value->type, value->data}) : std::nullopt;
    }

    void expectRead(const FieldCase& field, const Unread& unread, std::int32_t storesStatus) const {
        Bytes bytes;
        const std::int32_t status = read(bytes);
        if (unread.content) {
            Bytes wanted = sample(0);
            put(wanted, field, *unread.content);
            EXPECT_EQ(status, WDLT_OK);
            EXPECT_EQ(bytes, wanted);
        } else {
            Bytes wanted(m_record.size);
            for (const FieldCase& before : m_record.fields) {
                if (before.value == field.value)
                    break;
                put(wanted, before, before.samples[0]);
            }
            EXPECT_EQ(status, m_record.readCode != 0 ? m_record.readCode : storesStatus);
            EXPECT_EQ(bytes, wanted);
        }
        if (unread.isTold) {
            EXPECT_TRUE(m_library.logged(m_record.unreadLine(logName(field), storesStatus)));
        }
    }

    const LoadedLibrary& m_library;
    RecordCase m_record;
};

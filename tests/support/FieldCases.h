// The tests for every record that is described as rows (FieldCase.h), through the exports: each value absent, too
// large, and at and around its limits, on reading and on writing; what a write leaves that fails at any of its values;
// what the service hears. The log is cleared before each try. RecordTableTest tests wrong sizes.
#pragma once

#include "FakeService.h"
#include "FieldCase.h"
#include "FreshLog.h"
#include "RegistryRefusal.h"
#include "Tree.h"
#include <LoadedLibrary.h>

#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class FieldRunner {
  public:
    FieldRunner(const LoadedLibrary& library, RecordCase record) : m_library(library), m_record(std::move(record)) {
        std::uint32_t next = 1000;
        for (FieldCase& field : m_record.fields) {
            if (field.shape == FieldShape::Number && !field.isFixed &&
                field.samples[0].number == field.samples[1].number)
                for (Content& sample : field.samples)
                    sample = ++next;
            if (field.asRead.empty())
                field.asRead = unchanged(field, field.size - 1);
            if (field.asWritten.empty() && field.isWritten)
                field.asWritten = unchanged(field, field.size - 1);
        }
    }

    using Bytes = std::vector<BYTE>;

    // The record in which each field has its first (0) or second (1) sample; layDown stores the same in the registry.
    Bytes sample(std::size_t which) const {
        Bytes bytes = emptyRecord();
        for (const FieldCase& field : m_record.fields)
            put(bytes, field, field.samples[which]);
        return bytes;
    }
    void layDown(std::size_t which) const {
        for (const FieldCase& field : m_record.fields)
            store(field, storedSample(field, which));
    }

    // Uses an unaligned address, as any caller may.
    std::int32_t read(Bytes& bytes) const {
        std::uint64_t size = m_record.head + m_record.size;
        Bytes unaligned(1 + size, 0xEE);
        const std::int32_t status = WDLT_CALL(m_library, WdltReadConfigEx)(
            m_record.protocol, m_record.scan, m_record.input, m_record.configType, unaligned.data() + 1, &size);
        bytes.assign(unaligned.end() - static_cast<std::ptrdiff_t>(m_record.size), unaligned.end());
        for (const auto& [offset, count] : m_record.unseen)
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, BYTE{0});
        return status;
    }
    std::int32_t write(Bytes& bytes) const {
        Bytes unaligned{0xEE};
        unaligned.insert(unaligned.end(), bytes.begin(), bytes.end());
        const std::int32_t status = WDLT_CALL(m_library, WdltWriteConfigEx)(
            m_record.protocol, m_record.scan, m_record.input, m_record.writeType.value_or(m_record.configType),
            unaligned.data() + 1, m_record.size);
        bytes.assign(unaligned.begin() + 1, unaligned.end());
        return status;
    }

    void tryAll() const {
        tryEachUnreadValue();
        tryLimitsOnRead();
        tryLimitsOnWrite();
        tryTextsWithoutTerminator();
        tryWriting();
        tryFailingWrites();
    }

    void tryEachUnreadValue() const {
        for (const FieldCase& field : m_record.fields) {
            if (field.isFixed)
                continue;
            layDown(0);
            tree::deleteValue(m_record.key, field.value);
            expectRead(field, field.absent, WDLT_E_NOT_FOUND);
            std::vector<std::size_t> tooMany{2000};
            if (field.shape == FieldShape::Text)
                tooMany.push_back(field.size); // leaves no room for a terminator
            for (const std::size_t bytes : tooMany) {
                tree::set(m_record.key, field.value, REG_BINARY, std::string(bytes, 'a'));
                expectRead(field, field.tooLarge, WDLT_E_BUFFER_SIZE);
            }
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

    // A text that fills its field, or its list's slot, is refused: it could never be read back.
    void tryTextsWithoutTerminator() const {
        for (const FieldCase& field : m_record.fields) {
            if (field.shape == FieldShape::Number)
                continue;
            SCOPED_TRACE(field.value);
            layDown(0);
            Bytes bytes = sample(1);
            const std::size_t filled = field.shape == FieldShape::Names ? field.slotSize : field.size;
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(field.offset), filled, BYTE{'x'});
            const Bytes given = bytes;
            const FreshLog log;
            EXPECT_EQ(write(bytes), field.isWritten ? WDLT_E_INVALID_ARGUMENT : WDLT_OK);
            EXPECT_EQ(bytes, given);
            if (field.isWritten) {
                expectStored({});
                EXPECT_TRUE(
                    m_library.logged(line(m_record.unwrittenLine, field.logNameOnWrite, WDLT_E_INVALID_ARGUMENT)));
            }
        }
    }

    // Writes to a tree with the values and to one without; each write is notified.
    void tryWriting() const {
        ChangeListener service;
        for (const bool isThere : {false, true}) {
            for (const FieldCase& field : m_record.fields)
                if (!field.isFixed)
                    tree::deleteValue(m_record.key, field.value);
            if (isThere)
                layDown(0);
            Bytes bytes = sample(1);
            EXPECT_EQ(write(bytes), WDLT_OK);
            const std::vector<Change> told(m_record.writeType ? 0 : 1, Change{m_record.protocol, m_record.scan});
            EXPECT_EQ(service.heard(), told);
            EXPECT_EQ(bytes, sample(1));
            for (const FieldCase& field : m_record.fields) {
                const auto untouched = isThere ? std::optional(valueOf(field, storedSample(field, 0))) : std::nullopt;
                EXPECT_EQ(storedValue(field),
                          field.isWritten ? std::optional(valueOf(field, storedSample(field, 1))) : untouched)
                    << field.value;
            }
        }
    }

    // Fails a write at each of its values in turn; none is notified.
    void tryFailingWrites() const {
        const ChangeListener service([](const Change&) { return ADD_FAILURE(), true; });
        const std::vector<std::string> order = writeOrder();
        for (std::size_t failing = 0; failing < order.size(); ++failing) {
            SCOPED_TRACE(order[failing]);
            layDown(0);
            Bytes bytes = sample(1);
            const FreshLog log;
            {
                const FailingWrite refused(static_cast<int>(failing) + 1);
                EXPECT_EQ(write(bytes), m_record.writeCode != 0 ? m_record.writeCode : WDLT_E_REGISTRY);
            }
            expectStored({order.begin(), order.begin() + static_cast<std::ptrdiff_t>(failing)});
            const FieldCase& field = *std::ranges::find_if(
                m_record.fields, [&](const FieldCase& each) { return order[failing] == each.value; });
            EXPECT_TRUE(m_library.logged(line(m_record.unwrittenLine, field.logNameOnWrite, WDLT_E_REGISTRY)));
        }
    }

  private:
    static std::string line(std::string pattern, const char* field, std::int32_t status) {
        for (const auto& [word, text] :
             {std::pair<std::string, std::string>{"{field}", field}, {"{status}", std::to_string(status)}})
            if (const std::size_t at = pattern.find(word); at != pattern.npos)
                pattern.replace(at, word.size(), text);
        return pattern;
    }
    static Passages unchanged(const FieldCase& field, std::size_t mostBytes) {
        if (field.isFixed || (field.shape != FieldShape::Number && field.shape != FieldShape::Text))
            return {};
        const bool isNumber = field.shape == FieldShape::Number;
        const Content least = isNumber ? Content(0u) : Content("");
        const Content most =
            isNumber ? Content(0xFFFFFFFFu >> 8 * (4 - field.size)) : Content(std::string(mostBytes, 'm'));
        return {{least, least}, {most, most}};
    }
    static std::string describe(const FieldCase& field, const Content& content) {
        const bool isNumber = field.shape == FieldShape::Number;
        return field.value + std::string(" ") + (isNumber ? std::to_string(content.number) : content.text);
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

    Bytes emptyRecord() const {
        Bytes bytes(m_record.size);
        if (m_record.rest)
            m_record.rest(bytes.data());
        return bytes;
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

    static const Content& storedSample(const FieldCase& field, std::size_t which) {
        return field.storedSamples ? (*field.storedSamples)[which] : field.samples[which];
    }
    // The type and the bytes of a value.
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
        tree::set(m_record.key, field.value, type, data);
    }
    std::optional<Stored> storedValue(const FieldCase& field) const {
        auto value = tree::get(m_record.key, field.value);
        if (value && value->type == REG_SZ && value->data.empty())
            value->data = '\0'; // an empty text written without its terminator has no bytes
        return value ? std::optional(Stored{value->type, value->data}) : std::nullopt;
    }
    // All values must have the first sample, except those in `changed`, which have the second.
    void expectStored(const std::vector<std::string>& changed) const {
        for (const FieldCase& field : m_record.fields) {
            const bool isChanged = std::ranges::find(changed, field.value) != changed.end();
            EXPECT_EQ(storedValue(field), valueOf(field, storedSample(field, isChanged ? 1 : 0))) << field.value;
        }
    }

    void expectRead(const FieldCase& field, const Unread& unread, std::int32_t storesStatus) const {
        SCOPED_TRACE(field.value + std::string(" ") + std::to_string(storesStatus));
        const FreshLog log;
        Bytes bytes;
        const std::int32_t status = read(bytes);
        Bytes wanted = unread.content ? sample(0) : emptyRecord();
        if (unread.content)
            put(wanted, field, *unread.content);
        else
            for (const FieldCase* before = m_record.fields.data(); before->value != field.value; ++before)
                put(wanted, *before, before->samples[0]);
        EXPECT_EQ(bytes, wanted);
        const std::int32_t ended = m_record.readCode != 0 ? m_record.readCode : storesStatus;
        EXPECT_EQ(status, unread.content ? WDLT_OK : ended);
        const std::string told = line(m_record.unreadLine, field.logName, storesStatus);
        EXPECT_EQ(m_library.logged(told.empty() ? "fails" : told), unread.isTold && !told.empty()) << told;
    }

    const LoadedLibrary& m_library;
    RecordCase m_record;
};

// Reads and writes a helper's record by the rows of a table (Field.h), one after another. A helper that does nothing
// else is just its table; anything special is plain code between two tables. A record that is written in another order
// than it is read has a second table, made of the same rows.
#pragma once

#include "Field.h"
#include "WdCommon/EventLine.h"
#include "WdchHelper.h"

#include <platform/memory.h>
#include <platform/registry_batch.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace wdlt {

// How a helper reports a failing value: its log lines, and a code in place of the store's, if it has one.
struct ValueReport {
    EventLine readFailed = {};  // the field, the status
    EventLine writeFailed = {}; // likewise
    EventLine defaultUsed = {}; // likewise; its default was taken from the record of defaults
    EventLine nameSkipped = {}; // the field, and a name from its list that was left out
    EventLine corrected = {};   // the field and the stored number, if the row asks for the line
    std::int32_t readCode = 0;  // 0: the store's own
    std::int32_t writeCode = 0;
};

// Values that a helper keeps enciphered; both functions return a status. In a read `text` is the field, already zeroed.
class ProtectedValues {
  public:
    virtual ~ProtectedValues() = default;
    [[nodiscard]] virtual std::int32_t read(const char* name, std::span<char> text) = 0;
    [[nodiscard]] virtual std::int32_t write(const char* name, std::string_view text) = 0;
};

// The values of one helper's address: where rows are read from and written to.
struct ValueAccess {
    WdchHelper& helper;
    const ValueReport& report;
    ProtectedValues* protectedValues = nullptr; // without them a sealed field is WDLT_E_GENERAL
    const char* section = "";
};

[[nodiscard]] std::int32_t readValue(const ValueAccess& access, const Field& row, void* record, const void* defaults);

// Writes one value without logging a failure; WDLT_E_INVALID_ARGUMENT for a text without its terminator.
[[nodiscard]] std::int32_t writeValue(const ValueAccess& access, const Field& row, void* record);
[[nodiscard]] std::int32_t writeFailed(const ValueAccess& access, const Field& row, std::int32_t status);

// False for a text that fills its field, or a list's slot, without a terminator: stored, it could never be read again.
bool isTerminated(const Field& row, void* record);
// Logs the row's failure and returns WDLT_E_INVALID_ARGUMENT.
[[nodiscard]] std::int32_t notTerminated(const ValueAccess& access, const Field& row);

// Reads the rows in order into a record that the caller has cleared. The first failure without a default ends it:
// fields read before it stay. `rows`: a table or a part of one; `defaults`: the record of defaults, for the rows that
// use it.
template <class Rows, class Record>
[[nodiscard]] std::int32_t readValues(const ValueAccess& access, const Rows& rows, Record& record,
                                      const Record* defaults = nullptr) {
    for (const FieldOf<Record>& row : rows)
        if (const std::int32_t status = readValue(access, row, &record, defaults); status != WDLT_OK)
            return status;
    return WDLT_OK;
}

// Writes the rows in order, all in one transaction and one sync. The first failure ends it: what was written before it
// stays, and what comes after it isn't touched. A text without its terminator is WDLT_E_INVALID_ARGUMENT before
// anything is written.
template <class Rows, class Record>
[[nodiscard]] std::int32_t writeValues(const ValueAccess& access, const Rows& rows, Record& record) {
    for (const FieldOf<Record>& row : rows)
        if (!row.isReadOnly && !isTerminated(row, &record))
            return notTerminated(access, row);
    RegistryBatch batch;
    const Field* last = nullptr;
    std::int32_t status = WDLT_OK;
    for (const FieldOf<Record>& row : rows) {
        if (row.isReadOnly)
            continue;
        last = &row;
        status = writeValue(access, row, &record);
        if (status != WDLT_OK)
            break;
    }
    // Logged outside the batch: a log may wait for the disk. A batch that can't be committed has stored nothing.
    const LONG error = batch.end();
    if (status == WDLT_OK && error != 0)
        status = WDLT_E_REGISTRY;
    return status == WDLT_OK || last == nullptr ? status : writeFailed(access, *last, status);
}

// A working copy of a caller's record, which may be unaligned. When the scope ends, only the bytes that were changed
// are copied back: a record that a write doesn't correct may be constant, or in use by other threads. The copies are
// wiped, since a record may hold a password.
template <class Record>
class CallersRecord {
  public:
    explicit CallersRecord(void* data) : m_data(static_cast<unsigned char*>(data)) {
        std::memcpy(&m_record, data, sizeof m_record);
        std::memcpy(m_given.data(), data, sizeof m_record);
    }
    ~CallersRecord() {
        constexpr std::size_t kPiece = 32;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(&m_record);
        for (std::size_t piece = 0; piece < sizeof m_record; piece += kPiece) {
            const std::size_t end = std::min(piece + kPiece, sizeof m_record);
            if (std::memcmp(bytes + piece, &m_given[piece], end - piece) == 0)
                continue;
            for (std::size_t at = piece; at < end; ++at)
                if (bytes[at] != m_given[at])
                    m_data[at] = bytes[at];
        }
        SecureZeroMemory(&m_record, sizeof m_record);
        SecureZeroMemory(m_given.data(), m_given.size());
    }
    CallersRecord(const CallersRecord&) = delete;
    CallersRecord& operator=(const CallersRecord&) = delete;

    Record& operator*() { return m_record; }
    Record* operator->() { return &m_record; }
    void clear() { std::memset(static_cast<void*>(&m_record), 0, sizeof m_record); }

  private:
    unsigned char* m_data;
    Record m_record;
    std::array<unsigned char, sizeof(Record)> m_given;
};

} // namespace wdlt

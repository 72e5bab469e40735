#include "ValueMap.h"

#include "Csv.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace wdlt {
namespace {

const char* readName(const ValueRowData& row) {
    return row.field != nullptr ? row.field : row.name;
}
const char* writeName(const ValueRowData& row) {
    return row.fieldOnWrite != nullptr ? row.fieldOnWrite : readName(row);
}

void report(void (*line)(DWORD, const char*, std::int32_t), DWORD level, const char* field, std::int32_t status) {
    if (line != nullptr && level != kQuietly)
        line(level, field, status);
}

void setNumber(const ValueRowData& row, void* record, DWORD number) {
    row.set(record, row.readRule != nullptr ? row.readRule(number) : number);
}

void fill(std::span<char> field, std::string_view content) {
    const std::size_t kept = std::min(content.size(), field.size() - 1);
    std::ranges::copy(content.substr(0, kept), field.begin());
    std::ranges::fill(field.subspan(kept), '\0');
}

// The whole stored text, however long. The field keeps what fits. A text that has grown since its size was told is
// asked for again, but nobody is followed for ever.
std::int32_t readCut(const ValueAccess& access, const char* name, std::span<char> field, DWORD size) {
    std::vector<char> whole;
    std::int32_t status = WDLT_E_BUFFER_SIZE;
    for (int tries = 0; status == WDLT_E_BUFFER_SIZE && tries < kTriesForGrowing; ++tries) {
        whole.resize(size);
        status = access.helper.ReadItem(access.section, name, whole.data(), &size, false);
    }
    if (status == WDLT_OK)
        fill(field, {whole.data(), strnlen(whole.data(), std::min<std::size_t>(size, whole.size()))});
    return status;
}

// A stored text may lack its terminator. One that leaves no room for it in the field is too long, as if it were longer.
std::int32_t readText(const ValueAccess& access, const ValueRowData& row, const char* name, std::span<char> field) {
    std::ranges::fill(field, '\0');
    DWORD size = row.limit;
    std::int32_t status = access.helper.ReadItem(access.section, name, field.data(), &size, false);
    const std::size_t length = strnlen(field.data(), field.size());
    if (status == WDLT_OK && length == field.size())
        status = WDLT_E_BUFFER_SIZE;
    if (status == WDLT_E_BUFFER_SIZE && row.cutsLongText)
        return readCut(access, name, field, size);
    std::ranges::fill(status == WDLT_OK ? field.subspan(length) : field, '\0');
    return status;
}

std::int32_t readProtected(const ValueAccess& access, const ValueRowData& row, std::span<char> field) {
    std::ranges::fill(field, '\0');
    const std::int32_t status = access.protectedValues->read(row.name, field.first(row.limit));
    if (status != WDLT_OK)
        std::ranges::fill(field, '\0');
    return status;
}

std::int32_t readNames(const ValueAccess& access, const ValueRowData& row, std::span<char> slots) {
    std::ranges::fill(slots, '\0');
    std::array<char, kNameListLimit + 1> stored{};
    DWORD size = row.limit;
    const std::int32_t status = access.helper.ReadItem(access.section, row.name, stored.data(), &size, false);
    if (status != WDLT_OK)
        return status;
    std::span<char> left = slots;
    const CCsv names(stored.data());
    for (const std::string& name : names.fields()) {
        if (left.empty() || name.size() >= row.slotSize) {
            if (access.report.nameSkipped != nullptr)
                access.report.nameSkipped(readName(row), name.c_str());
            continue;
        }
        std::ranges::copy(name, left.begin());
        left = left.subspan(row.slotSize);
    }
    return WDLT_OK;
}

// Cut so that what is stored can be read again with its terminator.
std::string namesAsText(const ValueRowData& row, std::span<char> slots) {
    CCsv names;
    for (; !slots.empty() && slots.front() != '\0'; slots = slots.subspan(row.slotSize))
        names.add({slots.data(), strnlen(slots.data(), row.slotSize)});
    return names.text().substr(0, row.limit - 1);
}

void finishText(const ValueRowData& row, std::span<char> field) {
    if (row.isFileName)
        WdchHelper::StripPath(field.data(), field.size());
    if (row.isFolder)
        WdchHelper::EndInBackslash(field.data(), field.size());
}

std::int32_t readOnce(const ValueAccess& access, const ValueRowData& row, const char* name, void* record) {
    switch (row.kind) {
    case ValueKind::Number: {
        DWORD number = 0;
        DWORD size = sizeof number;
        const std::int32_t status = access.helper.ReadItem(access.section, name, &number, &size, false);
        if (status == WDLT_OK)
            setNumber(row, record, number);
        return status;
    }
    case ValueKind::Text:
        return readText(access, row, name, row.text(record));
    case ValueKind::ProtectedText:
        return readProtected(access, row, row.text(record));
    case ValueKind::NameList:
        return readNames(access, row, row.text(record));
    }
    return WDLT_E_GENERAL;
}

void takeDefault(const ValueRowData& row, void* record, const void* defaults) {
    if (row.kind == ValueKind::Number)
        setNumber(row, record, defaults != nullptr ? row.get(defaults) : row.defaultNumber);
    else
        fill(row.text(record), row.defaultText);
}

} // namespace

std::int32_t readValue(const ValueAccess& access, const ValueRowData& row, void* record, const void* defaults) {
    std::int32_t status = readOnce(access, row, row.name, record);
    if (status != WDLT_OK && row.substitute != nullptr)
        status = readOnce(access, row, row.substitute, record);

    if (status != WDLT_OK) {
        if (row.fromDefaults && defaults != nullptr) {
            report(access.report.defaultUsed, row.defaultsLogLevel, readName(row), status);
            takeDefault(row, record, defaults);
        } else {
            const OnFailure& failure = status == WDLT_E_NOT_FOUND ? row.absent : row.failed;
            report(access.report.readFailed, failure.logLevel, readName(row), status);
            if (!failure.goesOn)
                return access.report.readCode != 0 ? access.report.readCode : status;
            takeDefault(row, record, nullptr);
        }
    }
    if (row.kind != ValueKind::Number)
        finishText(row, row.text(record));
    return WDLT_OK;
}

bool isTerminated(const ValueRowData& row, void* record) {
    if (row.kind == ValueKind::Number)
        return true;
    const std::span<char> field = row.text(record);
    if (row.kind != ValueKind::NameList)
        return strnlen(field.data(), field.size()) < field.size();
    for (std::span<char> slots = field; !slots.empty() && slots.front() != '\0'; slots = slots.subspan(row.slotSize))
        if (strnlen(slots.data(), row.slotSize) == row.slotSize)
            return false;
    return true;
}

std::int32_t notTerminated(const ValueAccess& access, const ValueRowData& row) {
    writeFailed(access, row, WDLT_E_INVALID_ARGUMENT);
    return WDLT_E_INVALID_ARGUMENT;
}

std::int32_t writeValue(const ValueAccess& access, const ValueRowData& row, void* record) {
    if (row.kind == ValueKind::Number) {
        DWORD number = row.get(record);
        if (row.writeRule != nullptr)
            number = row.writeRule(number);
        if (row.correctsRecord)
            row.set(record, number);
        return access.helper.WriteItem(access.section, row.name, REG_DWORD, &number, sizeof number, false);
    }

    if (!isTerminated(row, record))
        return WDLT_E_INVALID_ARGUMENT;
    const std::span<char> field = row.text(record);
    const auto store = [&](const char* text, std::size_t length) {
        const auto size = static_cast<DWORD>(length + (row.terminated ? 1 : 0));
        return access.helper.WriteItem(access.section, row.name, REG_SZ, text, size, false);
    };
    if (row.kind == ValueKind::NameList) {
        const std::string names = namesAsText(row, field);
        return store(names.c_str(), names.size());
    }
    if (row.isFileName)
        WdchHelper::StripPath(field.data(), field.size());
    const std::size_t length = std::strlen(field.data());
    if (row.kind == ValueKind::ProtectedText)
        return access.protectedValues->write(row.name, {field.data(), length});
    return store(field.data(), length);
}

std::int32_t writeFailed(const ValueAccess& access, const ValueRowData& row, std::int32_t status) {
    if (access.report.writeFailed != nullptr)
        access.report.writeFailed(writeName(row), status);
    return access.report.writeCode != 0 && !row.keepsCode ? access.report.writeCode : status;
}

} // namespace wdlt

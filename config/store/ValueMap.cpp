#include "ValueMap.h"

#include "Csv.h"
#include "WdCommon/DebugLog.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace wdlt {
namespace {

const char* readName(const Field& row) {
    return row.lineName != nullptr ? row.lineName : row.value;
}
const char* writeName(const Field& row) {
    return row.lineNameOnWrite != nullptr ? row.lineNameOnWrite : readName(row);
}

void report(const EventLine& line, Told told, const char* field, std::int32_t status) {
    if (told != Told::Quietly)
        line.tell(told == Told::AsTrace ? kLogTrace : kLogError, {field}, {status});
}

DWORD numberIn(const Field& row, const void* record) {
    DWORD number = 0;
    std::memcpy(&number, static_cast<const char*>(record) + row.offset, row.bytes);
    return number;
}
void putNumber(const Field& row, void* record, DWORD number) {
    std::memcpy(static_cast<char*>(record) + row.offset, &number, row.bytes);
}
std::span<char> textIn(const Field& row, void* record) {
    return {static_cast<char*>(record) + row.offset, row.bytes};
}

void takeNumber(const ValueAccess& access, const Field& row, void* record, DWORD stored) {
    const DWORD number = row.onRead(stored);
    if (number != stored && row.isToldWhenCorrected)
        access.report.corrected.tell(kLogError, {readName(row)}, {static_cast<std::int32_t>(stored)});
    putNumber(row, record, number);
}

void fill(std::span<char> field, std::string_view content) {
    const std::size_t kept = std::min(content.size(), field.size() - 1);
    std::ranges::copy(content.substr(0, kept), field.begin());
    std::ranges::fill(field.subspan(kept), '\0');
}

// Reads the whole stored text, however long, and keeps what fits into the field. A text that has grown since its size
// was queried is read again, but not for ever.
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

// A stored text may lack its terminator. One that fills the field, leaving no room for it, counts as too long.
std::int32_t readText(const ValueAccess& access, const Field& row, const char* name, std::span<char> field) {
    std::ranges::fill(field, '\0');
    DWORD size = row.limit;
    std::int32_t status = access.helper.ReadItem(access.section, name, field.data(), &size, false);
    const std::size_t length = strnlen(field.data(), field.size());
    if (status == WDLT_OK && length == field.size())
        status = WDLT_E_BUFFER_SIZE;
    if (status == WDLT_E_BUFFER_SIZE && row.isCut)
        return readCut(access, name, field, size);
    std::ranges::fill(status == WDLT_OK ? field.subspan(length) : field, '\0');
    return status;
}

std::int32_t readProtected(const ValueAccess& access, const Field& row, std::span<char> field) {
    std::ranges::fill(field, '\0');
    if (access.protectedValues == nullptr)
        return WDLT_E_GENERAL;
    const std::int32_t status = access.protectedValues->read(row.value, field.first(row.limit));
    if (status != WDLT_OK)
        std::ranges::fill(field, '\0');
    return status;
}

std::int32_t readNames(const ValueAccess& access, const Field& row, std::span<char> slots) {
    std::ranges::fill(slots, '\0');
    std::array<char, kNameListLimit + 1> stored{};
    DWORD size = row.limit;
    const std::int32_t status = access.helper.ReadItem(access.section, row.value, stored.data(), &size, false);
    if (status != WDLT_OK)
        return status;
    std::span<char> left = slots;
    const CCsv names(stored.data());
    for (const std::string& name : names.fields()) {
        if (left.empty() || name.size() >= row.slotBytes) {
            access.report.nameSkipped.tell(kLogError, {readName(row), name.c_str()}, {});
            continue;
        }
        std::ranges::copy(name, left.begin());
        left = left.subspan(row.slotBytes);
    }
    return WDLT_OK;
}

// Cut so that it can be read back with its terminator.
std::string namesAsText(const Field& row, std::span<char> slots) {
    CCsv names;
    for (; !slots.empty() && slots.front() != '\0'; slots = slots.subspan(row.slotBytes))
        names.add({slots.data(), strnlen(slots.data(), row.slotBytes)});
    return names.text().substr(0, row.limit - 1);
}

void finishText(const Field& row, std::span<char> field) {
    if (row.isFileName)
        WdchHelper::StripPath(field.data(), field.size());
    if (row.isFolder)
        WdchHelper::EndInBackslash(field.data(), field.size());
}

std::int32_t readOnce(const ValueAccess& access, const Field& row, const char* name, void* record) {
    switch (row.kind) {
    case FieldKind::Number: {
        DWORD number = 0;
        DWORD size = sizeof number;
        const std::int32_t status = access.helper.ReadItem(access.section, name, &number, &size, false);
        if (status == WDLT_OK)
            takeNumber(access, row, record, number);
        return status;
    }
    case FieldKind::Text:
        return readText(access, row, name, textIn(row, record));
    case FieldKind::SealedText:
        return readProtected(access, row, textIn(row, record));
    case FieldKind::NameList:
        return readNames(access, row, textIn(row, record));
    case FieldKind::NumberList:
        break; // has no value
    }
    return WDLT_E_GENERAL;
}

void takeDefault(const ValueAccess& access, const Field& row, void* record, const void* defaults) {
    if (row.kind == FieldKind::Number)
        takeNumber(access, row, record, defaults != nullptr ? numberIn(row, defaults) : row.number);
    else
        fill(textIn(row, record), row.text);
}

} // namespace

std::int32_t readValue(const ValueAccess& access, const Field& row, void* record, const void* defaults) {
    std::int32_t status = readOnce(access, row, row.value, record);
    if (status != WDLT_OK && row.otherValue != nullptr)
        status = readOnce(access, row, row.otherValue, record);

    if (status != WDLT_OK) {
        if (row.isFromDefaults && defaults != nullptr) {
            report(access.report.defaultUsed, row.toldFromDefaults, readName(row), status);
            takeDefault(access, row, record, defaults);
        } else {
            const OnFailure& failure = status == WDLT_E_NOT_FOUND ? row.whenAbsent : row.whenFailed;
            report(access.report.readFailed, failure.told, readName(row), status);
            if (!failure.goesOn)
                return access.report.readCode != 0 ? access.report.readCode : status;
            takeDefault(access, row, record, nullptr);
        }
    }
    if (row.kind != FieldKind::Number)
        finishText(row, textIn(row, record));
    return WDLT_OK;
}

bool isTerminated(const Field& row, void* record) {
    if (row.kind == FieldKind::Number)
        return true;
    const std::span<char> field = textIn(row, record);
    if (row.kind != FieldKind::NameList)
        return strnlen(field.data(), field.size()) < field.size();
    for (std::span<char> slots = field; !slots.empty() && slots.front() != '\0'; slots = slots.subspan(row.slotBytes))
        if (strnlen(slots.data(), row.slotBytes) == row.slotBytes)
            return false;
    return true;
}

std::int32_t notTerminated(const ValueAccess& access, const Field& row) {
    access.report.writeFailed.tell(kLogError, {writeName(row)}, {WDLT_E_INVALID_ARGUMENT});
    return WDLT_E_INVALID_ARGUMENT;
}

std::int32_t writeValue(const ValueAccess& access, const Field& row, void* record) {
    if (row.kind == FieldKind::Number) {
        const DWORD number = row.onWrite(numberIn(row, record));
        if (row.isCorrected)
            putNumber(row, record, number);
        return access.helper.WriteItem(access.section, row.value, REG_DWORD, &number, sizeof number, false);
    }

    if (!isTerminated(row, record))
        return WDLT_E_INVALID_ARGUMENT;
    const std::span<char> field = textIn(row, record);
    const auto store = [&](const char* text, std::size_t length) {
        const auto size = static_cast<DWORD>(length + (row.isTerminated ? 1 : 0));
        return access.helper.WriteItem(access.section, row.value, REG_SZ, text, size, false);
    };
    if (row.kind == FieldKind::NameList) {
        const std::string names = namesAsText(row, field);
        return store(names.c_str(), names.size());
    }
    if (row.isFileName)
        WdchHelper::StripPath(field.data(), field.size());
    const std::size_t length = std::strlen(field.data());
    if (row.kind == FieldKind::SealedText && access.protectedValues == nullptr)
        return WDLT_E_GENERAL;
    if (row.kind == FieldKind::SealedText)
        return access.protectedValues->write(row.value, {field.data(), length});
    return store(field.data(), length);
}

std::int32_t writeFailed(const ValueAccess& access, const Field& row, std::int32_t status) {
    access.report.writeFailed.tell(kLogError, {writeName(row)}, {status});
    return access.report.writeCode != 0 && !row.keepsStoresCode ? access.report.writeCode : status;
}

} // namespace wdlt

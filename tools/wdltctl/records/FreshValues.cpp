#include "FreshValues.h"

#include "Handlers.h"
#include "KeyPath.h"
#include "RegTransfer.h"
#include "RegistryKey.h"
#include "Utf.h"
#include "Verbs.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <utility>

namespace wdlt {
namespace {

std::u16string wideName(std::string_view text) {
    return utf16FromUtf8(text).value_or(std::u16string());
}

RegValue freshValue(const Field& field) {
    RegValue value{wideName(field.value), REG_SZ, {}, false};
    if (field.kind == FieldKind::Number) {
        value.type = REG_DWORD;
        for (std::uint32_t i = 0; i < sizeof field.freshNumber; ++i)
            value.data.push_back(static_cast<BYTE>(field.freshNumber >> (8 * i)));
    } else if (field.kind == FieldKind::SealedText) {
        value.type = REG_BINARY; // an empty text is an empty value
    } else {
        value.data = textData(wideName(field.freshText));
    }
    return value;
}

/* Whether a read of the record gets over the value. */
bool isSound(const Field& field, const std::optional<RegValue>& value) {
    if (!value)
        return field.whenAbsent.goesOn || field.isFromDefaults || field.otherValue != nullptr;
    if (value->type != freshValue(field).type)
        return false;
    if (field.kind == FieldKind::Number)
        return value->data.size() == sizeof field.freshNumber;
    return field.kind != FieldKind::Text || field.isCut || textOf(value->data).size() <= mostBytes(field);
}

} // namespace

const Settings& settingsOf(const Record& record, const std::string& which) {
    const std::string named = fmt::format("{} {}", record.name, which);
    return *std::ranges::find_if(kSettings, [&](const Settings& settings) {
        return settings.name == record.name || settings.name == named ||
               (which.empty() && settings.name.starts_with(named));
    });
}

std::string freshAsTyped(const Field& field) {
    return field.kind == FieldKind::Number ? fmt::format("{}", field.onRead(field.freshNumber))
                                           : std::string(field.freshText);
}

RecordKey keyOf(const Record& record, const std::string& which) {
    const Settings& settings = settingsOf(record, which);
    std::u16string path = joinPath(kBasePath, wideName(settings.key));
    if (const std::size_t any = path.find(u'*'); any != std::u16string::npos)
        path.replace(any, 1, wideName(findHandler(which).name()));
    return {settings, path};
}

std::vector<std::string> valueNamesIn(const std::u16string& path) {
    std::vector<std::string> names;
    if (const auto key = RegistryKey::openIfThere(path))
        for (const RegValue& value : key->values())
            names.push_back(utf8FromUtf16(value.name));
    return names;
}

std::optional<std::string> registryText(const std::u16string& path, const Field& field) {
    if (field.kind != FieldKind::Text || field.value == nullptr)
        return std::nullopt;
    const auto key = RegistryKey::openIfThere(path);
    const auto value = key ? key->value(wideName(field.value)) : std::nullopt;
    return value ? std::optional(utf8FromUtf16(textOf(value->data))) : std::nullopt;
}

std::vector<std::string> layDownFresh(const RecordKey& key, const std::vector<Field>& fields, bool mends) {
    RegDocument document{{{key.path, {}, false}}};
    std::vector<RegValue>& values = document.keys.front().values;
    for (const Field& field : fields)
        if (field.value != nullptr)
            values.push_back(freshValue(field));

    std::vector<std::string> others;
    const auto opened = RegistryKey::openIfThere(key.path);
    for (const Settings& settings : kSettings)
        for (const Field& field : settings.fields) {
            if (!mends || settings.key != key.settings.key || field.value == nullptr || !field.hasFresh)
                continue;
            const RegValue value = freshValue(field);
            const bool isIn = std::ranges::any_of(
                values, [&](const RegValue& each) { return equalsIgnoringCase(each.name, value.name); });
            if (isIn || isSound(field, opened ? opened->value(value.name) : std::nullopt))
                continue;
            others.emplace_back(field.value);
            values.push_back(value);
        }
    importDocument(document);
    return others;
}

} // namespace wdlt

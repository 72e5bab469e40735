// How a call passes texts: names, and the data of text values. One class for the A calls, one for the W calls, so that
// each call is written once.
#pragma once

#include "RegistryRecord.h"

#include <platform/registry.h>

#include <string>
#include <string_view>

namespace wd {

constexpr bool isTextType(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

struct NarrowText {
    using Char = char;
    static constexpr Form kForm = Form::Narrow;
    // A record's name in this form. An ASCII name is returned in place, another one in `storage`.
    static std::string_view name(std::string_view coded, std::string& storage);
    // Converts the bytes of a text from the other form to this one.
    static std::string convert(std::string_view bytes);
};

struct WideText {
    using Char = WCHAR;
    static constexpr Form kForm = Form::Wide;
    static std::u16string_view name(std::string_view coded, std::u16string& storage);
    static std::string convert(std::string_view bytes);
};

// The form in which a call of `Text` stores data of a type.
template <typename Text>
constexpr Form storedForm(DWORD type) {
    return isTextType(type) ? Text::kForm : Form::Bytes;
}

// Whether data of a type is a text without its terminator. A wide one with half a unit too much isn't a text.
template <typename Text>
bool lacksTerminator(DWORD type, std::string_view bytes) {
    constexpr std::size_t kUnit = sizeof(typename Text::Char);
    if (!isTextType(type) || bytes.size() % kUnit != 0)
        return false;
    return bytes.empty() || bytes.substr(bytes.size() - kUnit).find_first_not_of('\0') != std::string_view::npos;
}

// Data as it is stored: a text has its terminator, even if the caller's size leaves it out. Empty data stays empty.
template <typename Text>
std::string_view storedData(DWORD type, std::string_view bytes, std::string& storage) {
    if (bytes.empty() || !lacksTerminator<Text>(type, bytes))
        return bytes;
    storage.reserve(bytes.size() + sizeof(typename Text::Char));
    storage.append(bytes).append(sizeof(typename Text::Char), '\0');
    return storage;
}

// A value's data in the form of the call; converted into `storage` only when it was written in the other form.
template <typename Text>
std::string_view dataInForm(const RecordValue& value, std::string& storage) {
    if (value.form == Form::Bytes || value.form == Text::kForm || !isTextType(value.type))
        return value.data;
    storage = Text::convert(value.data);
    return storage;
}

} // namespace wd

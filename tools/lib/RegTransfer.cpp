#include "RegTransfer.h"

#include "KeyPath.h"
#include "OneState.h"
#include "RegistryKey.h"

namespace wdlt {
namespace {

void carryOut(const RegKey& key) {
    if (key.isDeletion) {
        deleteTree(key.path);
        return;
    }
    const RegistryKey opened = RegistryKey::create(key.path);
    for (const RegValue& value : key.values) {
        if (value.isDeletion)
            opened.deleteValue(value.name);
        else
            opened.setValue(value);
    }
}

} // namespace

void importDocument(const RegDocument& document) {
    asOneChange([&] {
        for (const RegKey& key : document.keys)
            carryOut(key);
    });
}

RegDocument exportSubtree(const std::u16string& path) {
    RegDocument document;
    walkKeys(path, [&](const RegistryKey& key, std::size_t) {
        document.keys.push_back({key.path(), key.values(), false});
    });
    return document;
}

const RegValue* findValue(const RegDocument& document, std::u16string_view path, std::u16string_view name) {
    for (const RegKey& key : document.keys)
        if (equalsIgnoringCase(key.path, path))
            for (const RegValue& value : key.values)
                if (equalsIgnoringCase(value.name, name))
                    return &value;
    return nullptr;
}

void setText(RegDocument& document, std::u16string_view path, std::u16string_view name, std::u16string_view text) {
    const RegValue value{std::u16string(name), REG_SZ, textData(text), false};
    if (const RegValue* there = findValue(document, path, name); there != nullptr)
        const_cast<RegValue&>(*there) = value;
    else
        document.keys.push_back({std::u16string(path), {value}, false});
}

} // namespace wdlt

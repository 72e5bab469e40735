#include "LayDown.h"

#include "Directory.h"
#include "FreshTree.h"
#include "Installation.h"
#include "KeyPath.h"
#include "LayerError.h"
#include "RegTransfer.h"
#include "RegistryKey.h"
#include "Utf.h"
#include "Verbs.h"

#include <algorithm>
#include <fmt/format.h>
#include <platform/file_content.h>
#include <utility>
#include <vector>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr const char16_t* kTempValue = u"TempPath";
constexpr const char16_t* kLogValue = u"LogPath";

/* Of the key of a handler or one below it: the name of the handler; else empty. */
std::u16string_view handlerOfKey(std::u16string_view path) {
    const std::u16string handlers = joinPath(kBasePath, u"ProtocolHandler\\");
    if (path.size() <= handlers.size() || !equalsIgnoringCase(path.substr(0, handlers.size()), handlers))
        return {};
    path.remove_prefix(handlers.size());
    return path.substr(0, path.find(u'\\'));
}

/* The handlers of the fresh tree whose protocols others serve. */
std::vector<std::u16string> replacedHandlers(const RegDocument& fresh) {
    std::vector<std::u16string> replaced;
    const auto there = allHandlerKeys();
    for (const RegKey& key : fresh.keys)
        for (const RegValue& value : key.values)
            if (const auto name = handlerOfKey(key.path); !name.empty() && value.name == u"Type")
                if (std::ranges::any_of(there, [&](const HandlerKey& each) {
                        return !value.data.empty() && each.type == value.data[0] &&
                               !equalsIgnoringCase(each.name, name);
                    }))
                    replaced.emplace_back(name);
    return replaced;
}

/* An empty text is as good as none only where the installation can't be used with it. */
bool isMissing(const RegistryKey& key, const RegValue& fresh) {
    const auto stored = key.value(fresh.name);
    return !stored || (fresh.name == kInstallValue && textOf(stored->data).empty());
}

} // namespace

Directories Directories::below(const std::string& install) {
    const std::u16string path = parseDirectory(install);
    Directories directories{path, path + u"Temp\\", path + u"Log\\"};
    for (const auto& each : {directories.install, directories.temp, directories.log})
        narrowPath(each);
    return directories;
}

std::optional<Directories> Directories::stored() {
    const auto base = RegistryKey::openIfThere(std::u16string(kBasePath));
    const auto textIn = [&](const char16_t* name) {
        const auto value = base ? base->value(name) : std::nullopt;
        return utf8FromUtf16(value ? textOf(value->data) : std::u16string());
    };
    const std::string install = textIn(kInstallValue);
    if (install.empty())
        return std::nullopt;
    try {
        Directories directories = below(install);
        if (const std::string temp = textIn(kTempValue); !temp.empty())
            directories.temp = parseDirectory(temp);
        if (const std::string log = textIn(kLogValue); !log.empty())
            directories.log = parseDirectory(log);
        return directories;
    } catch (const ToolError& error) {
        throw ToolError(ExitStatus::Usage,
                        fmt::format("the settings' own directories: {}; --install is needed", error.what()));
    }
}

void Directories::make() const {
    for (const std::u16string& path : {install, temp, log})
        if (WdMakeFolder(folderIfSet(narrowPath(path)).c_str()) == FALSE)
            throw LayerError(utf8FromUtf16(path), static_cast<LONG>(GetLastError()));
}

void Directories::setIn(RegDocument& tree) const {
    setText(tree, kBasePath, kInstallValue, install);
    setText(tree, kBasePath, kTempValue, temp);
    setText(tree, kBasePath, kLogValue, log);
}

RegDocument freshTree(const Directories& directories) {
    RegDocument document = parseRegText(kFreshTree);
    directories.setIn(document);
    return document;
}

std::size_t valuesIn(const RegDocument& document) {
    std::size_t count = 0;
    for (const RegKey& key : document.keys)
        count += key.values.size();
    return count;
}

RegDocument missingFrom(const RegDocument& fresh) {
    RegDocument missing;
    const auto replaced = replacedHandlers(fresh);
    for (const RegKey& key : fresh.keys) {
        if (std::ranges::find(replaced, handlerOfKey(key.path)) != replaced.end())
            continue;
        const auto there = RegistryKey::openIfThere(key.path);
        RegKey lacking{key.path, key.values, false};
        if (there)
            std::erase_if(lacking.values, [&](const RegValue& value) { return !isMissing(*there, value); });
        if (!there || !lacking.values.empty())
            missing.keys.push_back(std::move(lacking));
    }
    return missing;
}

bool holdsValues(const std::u16string& path) {
    if (!RegistryKey::openIfThere(path))
        return false;
    bool found = false;
    walkKeys(path, [&](const RegistryKey& key, std::size_t) { found = found || !key.values().empty(); });
    return found;
}

void makeLocksOfLists() {
    std::int32_t count = 0;
    for (const std::uint32_t list : {WDLT_LIST_WHITE, WDLT_LIST_BLACK}) {
        WdltUrlfReadRecordList(list, nullptr, &count);
        WdltSpyReadRecordList(list, nullptr, &count);
        WdltAspmReadRecordList(list, nullptr, &count);
    }
    WdltHosfReadRecordList(nullptr, &count);
    WdltMahReadRecordList(nullptr, &count);
    WdltPdpReadItemList(nullptr, &count);
    WdltPdpReadExItemList(nullptr, &count);
}

} // namespace wdlt

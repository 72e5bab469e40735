#include "Installation.h"

#include "FieldText.h"
#include "KeyPath.h"
#include "LibraryStatus.h"
#include "RegistryKey.h"

#include <cstring>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
std::string folderIfSet(const std::string& narrowName) {
    const std::string path = narrowName.empty() ? "" : pathOf(narrowName);
    return path.size() > 1 && path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
}

std::string homePath() {
    const std::string drive = pathOf("C:\\"); // a folder of the home
    return drive.substr(0, drive.find_last_of('/', drive.size() - 2));
}

Installation Installation::read() {
    WdchSystemData system{};
    std::uint64_t size = sizeof system;
    checkStatus(WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, &system, &size), "system");
    return {narrowOf(system.installPath), folderIfSet(narrowOf(system.installPath)),
            folderIfSet(narrowOf(system.tempPath)), folderIfSet(narrowOf(system.logPath))};
}

std::string Installation::nameOf(const DataFile& file) const {
    return file.narrowNameBehind(prefix);
}

std::string Installation::pathOf(const DataFile& file) const {
    return wdlt::pathOf(nameOf(file));
}

std::vector<HandlerKey> allHandlerKeys() {
    std::vector<HandlerKey> handlers;
    const std::u16string path = joinPath(kBasePath, u"ProtocolHandler");
    const auto all = RegistryKey::openIfThere(path);
    for (const std::u16string& name : all ? all->subkeyNames() : std::vector<std::u16string>()) {
        const auto key = RegistryKey::openIfThere(joinPath(path, name));
        if (!key || key->values().empty())
            continue;
        const auto type = key->value(u"Type");
        HandlerKey handler{name, 0, {}};
        if (type && type->type == REG_DWORD && type->data.size() == sizeof handler.type)
            std::memcpy(&handler.type, type->data.data(), sizeof handler.type);
        if (const auto scan = key->value(u"Scan"))
            handler.scan = textOf(scan->data);
        handlers.push_back(std::move(handler));
    }
    return handlers;
}

std::set<std::string> allNames() {
    std::set<std::string> names;
    walkKeys(std::u16string(kBasePath), [&](const RegistryKey& key, std::size_t) {
        for (const RegValue& value : key.values())
            if (value.type == REG_SZ)
                names.insert(lastPart(value));
    });
    return names;
}

} // namespace wdlt

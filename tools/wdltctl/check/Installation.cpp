#include "Installation.h"

#include "Catalog.h"
#include "Display.h"
#include "FieldText.h"
#include "KeyPath.h"
#include "LayerError.h"
#include "LibraryStatus.h"
#include "RegistryKey.h"
#include "Utf.h"
#include "Verbs.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <platform/home.h>
#include <stdexcept>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr std::string_view kUrlKey = "Scan\\Common\\URLFilter\\config";
constexpr std::string_view kPrivacyKey = "Scan\\Common\\PrivacyProtection\\config";
constexpr std::string_view kSpamKey = "Scan\\POP3\\AntiSpam\\config";

constexpr DataFile kDataFiles[] = {
    {"privacy database", kPrivacyKey, "DataBaseName"},
    {"its backup", kPrivacyKey, "BackUpDBName"},
    {"addresses", "Scan\\Common\\MailManager\\config", "AddressCacheFile"},
    {"urls white", kUrlKey, "Whitelist", "urls", WDLT_LIST_WHITE},
    {"urls black", kUrlKey, "Blacklist", "urls", WDLT_LIST_BLACK},
    {"categories", kUrlKey, "CategoryFile"},
    {"category groups", kUrlKey, "CategoryGroupFile"},
    {"log indexes", kUrlKey, "LogIndexFile"},
    {"hosts", "Scan\\Common\\HostFilter\\config", "Whitelist", "hosts"},
    {"spyware", "Scan\\Common\\Virus\\config", "WhiteList", "spyware"},
    {"spam white", kSpamKey, "Whitelist", "spam", WDLT_LIST_WHITE},
    {"spam black", kSpamKey, "Blacklist", "spam", WDLT_LIST_BLACK},
    {"URL history", "Scan\\Common\\HttpManager\\config", "UrlHistoryFile"},
};

std::string lastPart(const RegValue& value) {
    const std::u16string text = textOf(value.data);
    return utf8FromUtf16(std::u16string_view(text).substr(text.find_last_of(u"\\/") + 1));
}

const Field& rowOf(const DataFile& file) {
    for (const Settings& settings : kSettings)
        if (settings.key == file.key)
            for (const Field& field : settings.fields)
                if (field.value != nullptr && field.value == file.value)
                    return field;
    throw std::logic_error("no table has the setting of a file");
}

std::optional<RegValue> settingOf(const DataFile& file) {
    const auto key = RegistryKey::openIfThere(joinPath(kBasePath, utf16FromArgument(file.key)));
    return key ? key->value(utf16FromArgument(file.value)) : std::nullopt;
}

} // namespace

const DataFile& kPrivacyDatabase = kDataFiles[0];
const DataFile& kPrivacyBackup = kDataFiles[1];
const DataFile& kAddressCache = kDataFiles[2];

std::string_view DataFile::freshName() const {
    return rowOf(*this).freshText;
}

std::string DataFile::name() const {
    const auto found = settingOf(*this);
    return found ? lastPart(*found) : std::string(rowOf(*this).text);
}

std::string DataFile::narrowNameIn(const RegValue* setting) const {
    const std::string name = setting != nullptr ? lastPart(*setting) : std::string(rowOf(*this).text);
    std::string narrow;
    narrowFromUtf8(name.empty() ? std::string(freshName()) : name, narrow);
    return narrow;
}

std::span<const DataFile> allDataFiles() {
    return kDataFiles;
}

std::string pathOf(const std::string& narrowName) {
    std::array<char, PATH_MAX> path{};
    if (const DWORD error = WdPathOfName(narrowName.c_str(), path.data(), static_cast<DWORD>(path.size())))
        throw LayerError(displayNarrow(narrowName), static_cast<LONG>(error));
    return path.data();
}

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
    const auto setting = settingOf(file);
    return prefix + file.narrowNameIn(setting ? &*setting : nullptr);
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

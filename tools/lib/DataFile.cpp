#include "DataFile.h"

#include "Catalog.h"
#include "Display.h"
#include "KeyPath.h"
#include "LayerError.h"
#include "RegistryKey.h"
#include "Utf.h"

#include <array>
#include <climits>
#include <optional>
#include <platform/home.h>
#include <stdexcept>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

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

std::string DataFile::narrowNameBehind(const std::string& prefix) const {
    const auto setting = settingOf(*this);
    return prefix + narrowNameIn(setting ? &*setting : nullptr);
}

std::span<const DataFile> allDataFiles() {
    return kDataFiles;
}

std::string lastPart(const RegValue& path) {
    const std::u16string text = textOf(path.data);
    return utf8FromUtf16(std::u16string_view(text).substr(text.find_last_of(u"\\/") + 1));
}

std::string pathOf(const std::string& narrowName) {
    std::array<char, PATH_MAX> path{};
    if (const DWORD error = WdPathOfName(narrowName.c_str(), path.data(), static_cast<DWORD>(path.size())))
        throw LayerError(displayNarrow(narrowName), static_cast<LONG>(error));
    return path.data();
}

} // namespace wdlt

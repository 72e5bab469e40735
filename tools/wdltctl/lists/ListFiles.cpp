#include "ListFiles.h"

#include "Catalog.h"
#include "Display.h"
#include "KeyPath.h"
#include "RegistryKey.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <algorithm>
#include <array>
#include <climits>
#include <fmt/format.h>
#include <platform/home.h>
#include <stdexcept>

namespace wdlt {
namespace {

struct FileSetting {
    std::string_view list;
    std::string_view key;
    std::string_view value;
};

constexpr FileSetting kFileSettings[] = {
    {"urls white", "Scan\\Common\\URLFilter\\config", "Whitelist"},
    {"urls black", "Scan\\Common\\URLFilter\\config", "Blacklist"},
    {"hosts", "Scan\\Common\\HostFilter\\config", "Whitelist"},
    {"spyware", "Scan\\Common\\Virus\\config", "WhiteList"},
    {"spam white", "Scan\\POP3\\AntiSpam\\config", "Whitelist"},
    {"spam black", "Scan\\POP3\\AntiSpam\\config", "Blacklist"},
    {"addresses", "Scan\\Common\\MailManager\\config", "AddressCacheFile"},
    {"privacy database", "Scan\\Common\\PrivacyProtection\\config", "DataBaseName"},
};

const Field& fieldOf(const FileSetting& setting) {
    for (const Settings& settings : kSettings)
        for (const Field& field : settings.fields)
            if (settings.key == setting.key && field.value != nullptr && field.value == setting.value)
                return field;
    throw std::logic_error("no table has the setting of a list's file");
}

/* As the library does: the bare name, directly behind the install directory. */
std::string bareNameOf(const FileSetting& setting) {
    const Field& row = fieldOf(setting);
    std::string name = settingText(setting.key, setting.value);
    if (name.empty())
        name = row.text;
    return row.isFileName ? name.substr(name.find_last_of("\\/:") + 1) : name;
}

} // namespace

std::string settingText(std::string_view key, std::string_view value) {
    const auto opened = RegistryKey::openIfThere(joinPath(kBasePath, utf16FromArgument(key)));
    const auto found = opened ? opened->value(utf16FromArgument(value)) : std::nullopt;
    return found && isTerminatedText(found->data) ? utf8FromUtf16(textOf(found->data)) : "";
}

std::string systemPath(const std::string& named) {
    std::string narrow;
    std::array<char, PATH_MAX> path{};
    if (!narrowFromUtf8(named, narrow) || WdPathOfName(narrow.c_str(), path.data(), path.size()) != ERROR_SUCCESS)
        throw ToolError(ExitStatus::Failed, fmt::format("{}: no path of this system", named));
    return path.data();
}

std::vector<ListFile> listFiles() {
    const std::string install = settingText("", "InstallPath");
    std::vector<ListFile> files;
    for (const FileSetting& setting : kFileSettings) {
        const std::string name = bareNameOf(setting);
        files.push_back({setting.list, install.empty() || name.empty() ? "" : systemPath(install + name)});
    }
    return files;
}

} // namespace wdlt

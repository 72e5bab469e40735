#include "Features.h"

#include "Reached.h"
#include "RegistryKey.h"
#include "Suggestion.h"
#include "Verbs.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr FeatureItem kPop3VirusPlaces[] = {{"pop3", WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kSmtpVirusPlaces[] = {{"smtp", WDLT_PROTOCOL_SMTP, WDLT_SCAN_VIRUS, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kWebMailVirusPlaces[] = {{"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_VIRUS, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kFileVirusPlaces[] = {
    {"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_VIRUS, WDLT_INPUT_HTTP_FILE_SCAN, 0}};
constexpr FeatureItem kUrlFilterPlaces[] = {{"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_URL_FILTER, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kHostFilterPlaces[] = {{"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_HOST_FILTER, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kAntiSpamPlaces[] = {{"pop3", WDLT_PROTOCOL_POP3, WDLT_SCAN_ANTI_SPAM, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kFileEventsPlaces[] = {
    {"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_NETWORK_EVENTS, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kSalPlaces[] = {{"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_SAL, WDLT_INPUT_NONE, 0}};
constexpr FeatureItem kHttpsFilterPlaces[] = {
    {"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_HTTPS_FILTER, 0}};
constexpr FeatureItem kPrivacyPlaces[] = {
    {"smtp", WDLT_PROTOCOL_SMTP, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE, WDLT_PRIVACY_SMTP},
    {"http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE, WDLT_PRIVACY_HTTP},
    {"4", 4, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE, WDLT_PRIVACY_PROTOCOL_4},
    {"5", 5, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE, WDLT_PRIVACY_PROTOCOL_5},
    {"6", 6, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE, WDLT_PRIVACY_PROTOCOL_6},
    {"7", 7, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE, WDLT_PRIVACY_PROTOCOL_7},
};
constexpr std::span<const FeatureItem> kNoPlaces;

template <auto function>
std::int32_t ask(std::uint32_t) {
    return function();
}

template <auto function>
std::int32_t change(bool on, std::uint32_t) {
    return function(on ? 1 : 0);
}

std::int32_t changePrivacy(bool on, std::uint32_t types) {
    return WdltPdpProtocolEnable(on ? 1 : 0, types);
}

std::int32_t changeWhiteList(bool on, std::uint32_t option) {
    return WdltEnableDRSWhiteList(on ? 1 : 0, option);
}

/* 0 where there is none, or no number. */
std::uint32_t storedWhiteListOption() {
    std::uint32_t option = 0;
    if (const auto key = RegistryKey::openIfThere(std::u16string(kBasePath) + u"\\PluginManager\\DRS\\WhiteList"))
        if (const auto value = key->value(u"Option");
            value && value->type == REG_DWORD && value->data.size() == sizeof option)
            std::memcpy(&option, value->data.data(), sizeof option);
    return option;
}

/* No export switches the plug-in manager alone, so its record is read and written. */
std::int32_t isPluginManagerOn(std::uint32_t) {
    WdltPluginManagerConfig manager{};
    const std::int32_t status = WdltPluginManagerReadConfig(&manager);
    return status != WDLT_OK ? status : manager.dwEnable != 0 ? 1 : 0;
}

std::int32_t changePluginManager(bool on, std::uint32_t) {
    WdltPluginManagerConfig manager{};
    if (const std::int32_t status = WdltPluginManagerReadConfig(&manager); status != WDLT_OK)
        return status;
    manager.dwEnable = on ? 1 : 0;
    return WdltPluginManagerWriteConfig(&manager);
}

constexpr Feature kPrivacyFeature{"pdp", "privacy data protection", WdltPdpIsProtocolEnabled, changePrivacy,
                                  kPrivacyPlaces};
constexpr Feature kDrsWhiteListFeature{
    "drs-white-list", "white list of DRS", ask<WdltIsDRSWhiteListEnabled>, changeWhiteList, {}, storedWhiteListOption};
constexpr Feature kPluginManagerFeature{
    "plugin-manager", "plug-in manager", isPluginManagerOn, changePluginManager, {}};

/* clang-format off */
#define WDLT_FEATURE_ROW(name, help, isOn, enable, places) {name, help, ask<isOn>, change<enable>, places},
#define WDLT_WEB_FEATURE_ROW(name, help, isOn, enable, places) {name, help, ask<isOn>, change<enable>, places, nullptr, true},
#define WDLT_OTHER_FEATURE_ROW(name, row) row,
/* clang-format on */
constexpr Feature kFeatures[] = {WDLT_FEATURE_LIST(WDLT_FEATURE_ROW, WDLT_WEB_FEATURE_ROW, WDLT_OTHER_FEATURE_ROW)};

} // namespace

std::span<const Feature> allFeatures() {
    return kFeatures;
}

const Feature& findFeature(std::string_view name) {
    return findNamed(kFeatures, name, "feature", &Feature::name);
}

std::string_view onOff(bool on) {
    return on ? "on" : "off";
}

} // namespace wdlt

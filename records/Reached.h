// How callers reach what users know by name: for each record its type and the exports or the address that read and write
// it, for each feature the exports that ask and switch it. One list makes wdltctl's tables and those of the Python package.
#pragma once

#include <wdltcfg/wdltcfg.h>

/* clang-format off */
// EXPORTED: the record's name in the catalog, its type, and the exports that read and write it.
// ADDRESSED: name, type, and the address: protocol, scan, input and config type.
// PLACED: name, type, and a row of its own: one of several like records, found by a word after the name.
// OTHER: a row of its own: a record that callers don't have in one piece.
#define WDLT_RECORD_LIST(EXPORTED, ADDRESSED, PLACED, OTHER)                                                           \
    ADDRESSED("system", WdchSystemData, WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_INPUT_NONE, WDLT_CONFIG_DEFAULT)    \
    PLACED("handler", WdchSystemProtocolHandler, kHandlerRecord)                                                       \
    EXPORTED("urlf", WdltUrlfConfig, WdltUrlfReadConfig, WdltUrlfWriteConfig)                                          \
    EXPORTED("urlf-proxy", WdltUrlfProxy, WdltUrlfReadProxy, WdltUrlfWriteProxy)                                       \
    /* The family's write refuses an empty name, which a fresh installation has. */                                    \
    ADDRESSED("urlf-rating-server", WdpeUrlfRSInfo, WDLT_PROTOCOL_COMMON, WDLT_SCAN_URL_FILTER, WDLT_INPUT_NONE,       \
              WDLT_CONFIG_URLF_RS_INFO)                                                                                \
    EXPORTED("urlf-untested", WdpeUrlfUUC, WdltUrlfReadUUC, WdltUrlfWriteUUC)                                          \
    EXPORTED("hosf", WdpeHosfData, WdltHosfReadConfig, WdltHosfWriteConfig)                                            \
    EXPORTED("pvs", WdltVsConfig, WdltPvsReadConfig, WdltPvsWriteConfig)                                               \
    EXPORTED("svs", WdltVsConfig, WdltSvsReadConfig, WdltSvsWriteConfig)                                               \
    EXPORTED("wmvs", WdltVsConfig, WdltWmvsReadConfig, WdltWmvsWriteConfig)                                            \
    EXPORTED("hfs-virus", WdltVsConfig, WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig)                               \
    EXPORTED("hfs", WdltHfsConfig, WdltHfsReadConfig, WdltHfsWriteConfig)                                              \
    EXPORTED("hfe", WdpeHfeData, WdltHfeReadConfig, WdltHfeWriteConfig)                                                \
    PLACED("virus", WdpeVsData, kEngineRecord)                                                                         \
    ADDRESSED("virus-common", WdpeVsCommon, WDLT_PROTOCOL_COMMON, WDLT_SCAN_VIRUS, WDLT_INPUT_NONE,                    \
              WDLT_CONFIG_DEFAULT)                                                                                     \
    ADDRESSED("pop3", WdphPop3, WDLT_PROTOCOL_POP3, WDLT_SCAN_NONE, WDLT_INPUT_NONE, WDLT_CONFIG_DEFAULT)              \
    ADDRESSED("smtp", WdphSmtp, WDLT_PROTOCOL_SMTP, WDLT_SCAN_NONE, WDLT_INPUT_NONE, WDLT_CONFIG_DEFAULT)              \
    ADDRESSED("http", WdphHttp, WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, WDLT_INPUT_NONE, WDLT_CONFIG_DEFAULT)              \
    ADDRESSED("http-manager", WdsmHttpConfig, WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_NONE,           \
              WDLT_CONFIG_DEFAULT)                                                                                     \
    ADDRESSED("web-mail", WdsmWebMailData, WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_NONE,              \
              WDLT_CONFIG_HTTP_WEB_MAIL)                                                                               \
    EXPORTED("https", WdltHttpsConfig, WdltHttpsReadConfig, WdltHttpsWriteConfig)                                      \
    OTHER(kHttpsFlagsRecord)                                                                                           \
    EXPORTED("plugin-manager", WdltPluginManagerConfig, WdltPluginManagerReadConfig, WdltPluginManagerWriteConfig)     \
    EXPORTED("drs", WdltDrsConfig, WdltDRSReadConfig, WdltDRSWriteConfig)                                              \
    EXPORTED("sal", WdltSalConfig, WdltSalReadConfig, WdltSalWriteConfig)                                              \
    EXPORTED("aspm", WdltAspmConfig, WdltAspmReadConfig, WdltAspmWriteConfig)                                          \
    ADDRESSED("mail", WdsmMailConfig, WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_INPUT_NONE,                   \
              WDLT_CONFIG_DEFAULT)

// FEATURE: its name, its words for users, the exports that ask and switch it, the places that it switches.
// WEB_FEATURE: the same for one that switches on the URL filter and the plug-in manager first.
// OTHER: name and a row of its own, for one whose exports take more than on or off.
#define WDLT_FEATURE_LIST(FEATURE, WEB_FEATURE, OTHER)                                                                 \
    FEATURE("pvs", "virus scan of POP3", WdltPvsIsEnabled, WdltPvsEnable, kPop3VirusPlaces)                            \
    FEATURE("svs", "virus scan of SMTP", WdltSvsIsEnabled, WdltSvsEnable, kSmtpVirusPlaces)                            \
    FEATURE("wmvs", "virus scan of web mail", WdltWmvsIsEnabled, WdltWmvsEnable, kWebMailVirusPlaces)                  \
    FEATURE("hfs", "virus scan of files over HTTP", WdltHfsIsEnabled, WdltHfsEnable, kFileVirusPlaces)                 \
    FEATURE("urlf", "URL filter", WdltUrlfIsEnabled, WdltUrlfEnable, kUrlFilterPlaces)                                 \
    FEATURE("hosf", "host filter", WdltHosfIsEnabled, WdltHosfEnable, kHostFilterPlaces)                               \
    FEATURE("aspm", "anti-spam", WdltAspmIsEnabled, WdltAspmEnable, kAntiSpamPlaces)                                   \
    FEATURE("hfe", "HTTP file events", WdltHfeIsEnabled, WdltHfeEnable, kFileEventsPlaces)                             \
    FEATURE("sal", "SAL", WdltSalIsEnabled, WdltSalEnable, kSalPlaces)                                                 \
    OTHER("pdp", kPrivacyFeature)                                                                                      \
    WEB_FEATURE("https", "HTTPS scan", WdltHttpsScanIsEnabled, WdltHttpsScanEnable, kHttpsFilterPlaces)                \
    WEB_FEATURE("drs", "DRS", WdltDRSIsEnabled, WdltDRSEnable, kNoPlaces)                                              \
    OTHER("drs-white-list", kDrsWhiteListFeature)                                                                      \
    FEATURE("hfe-plugin", "file events of the plug-ins", WdltHfeIsEnablePluginEvent, WdltHfeEnablePluginEvent,         \
            kNoPlaces)                                                                                                 \
    OTHER("plugin-manager", kPluginManagerFeature)                                                                     \
    FEATURE("ie", "plug-in of IE", WdltIEPlugInIsEnabled, WdltIEPlugInEnable, kNoPlaces)                               \
    FEATURE("firefox", "extension of Firefox", WdltFirefoxExtensionIsEnabled, WdltFirefoxExtensionEnable, kNoPlaces)   \
    FEATURE("chrome", "extension of Chrome", WdltChromeExtensionIsEnabled, WdltChromeExtensionEnable, kNoPlaces)
/* clang-format on */

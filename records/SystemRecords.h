// The service itself, its protocol handlers and their scan items.
#pragma once

#include "Field.h"

#include <wdltcfg/records.h>

namespace wdlt {

// In the order of reading and writing. A value that can't be read isn't logged: an empty registry has none of them.
inline constexpr FieldOf<WdchSystemData> kSystemFields[] = {
    number(WDLT_IN(WdchSystemData, proxyPort), "ProxyPort")
        .namedAsMember()
        .unreadable(6999, Told::Quietly)
        .takes(1, UINT16_MAX)
        .is("port of the service")
        .fresh(6999),
    text(WDLT_IN(WdchSystemData, installPath), "InstallPath")
        .namedAsMember()
        .unreadable("", Told::Quietly)
        .directory()
        .is("install directory, with a backslash at its end")
        .fresh("C:\\Program Files\\Wardlet\\"),
    text(WDLT_IN(WdchSystemData, tempPath), "TempPath")
        .namedAsMember()
        .unreadable("", Told::Quietly)
        .folder()
        .directory()
        .is("directory of temporary files")
        .fresh("C:\\Program Files\\Wardlet\\Temp\\"),
    text(WDLT_IN(WdchSystemData, logPath), "LogPath")
        .namedAsMember()
        .unreadable("", Told::Quietly)
        .folder()
        .directory()
        .is("directory of the service's logs")
        .fresh("C:\\Program Files\\Wardlet\\Log\\"),
    number(WDLT_IN(WdchSystemData, bmFlag), "DisableBm")
        .namedAsMember()
        .unreadable(0, Told::Quietly)
        .reads(inverted())
        .writes(inverted())
        .flag("the Bm feature is on; stored as its opposite")
        .fresh(0),
};
inline constexpr FieldOf<WdchSystemData> kSystemReadOnlyFields[] = {
    number(WDLT_IN(WdchSystemData, defRedirectFlag), "DefRedirectFlag")
        .unreadable(0, Told::Quietly)
        .readOnly()
        .is("default redirect flag")
        .fresh(0),
    number(WDLT_IN(WdchSystemData, tcpAutoTuningLevel), "TcpAutoTuningLevel")
        .unreadable(2, Told::Quietly)
        .readOnly()
        .is("TCP auto-tuning level")
        .fresh(2),
};
// Gathered from the handlers' keys.
inline constexpr FieldOf<WdchSystemData> kSystemHandlerFields[] = {
    number(WDLT_IN(WdchSystemData, handlerCount), nullptr).readOnly().is("number of protocol handlers that are on"),
    numberList(WDLT_IN(WdchSystemData, handlerTypes), WDLT_IN(WdchSystemData, handlerCount))
        .is("their types: 1 POP3, 2 SMTP, 3 HTTP"),
};

// The handler's key is found by its type: if a write changed it, the values after it would be lost.
inline constexpr FieldOf<WdchSystemProtocolHandler> kHandlerFields[] = {
    text(WDLT_IN(WdchSystemProtocolHandler, filename), "Filename")
        .namedAsMember()
        .unreadable("", Told::Quietly)
        .is("its file"),
    number(WDLT_IN(WdchSystemProtocolHandler, type), "Type")
        .namedAsMember()
        .unreadable(0, Told::Quietly)
        .kept()
        .is("the protocol it serves: 1 POP3, 2 SMTP, 3 HTTP; a key without it is no handler"),
    number(WDLT_IN(WdchSystemProtocolHandler, enable), "Enable")
        .namedAsMember()
        .unreadable(0, Told::Quietly)
        .flag("it is on")
        .fresh(0),
    text(WDLT_IN(WdchSystemProtocolHandler, scan), "Scan")
        .namedAsMember()
        .unreadable("", Told::Quietly)
        .is("folder of its scan items"),
};
inline constexpr FieldOf<WdchSystemProtocolHandler> kHandlerLookFields[] = {
    text(WDLT_IN(WdchSystemProtocolHandler, name), nullptr).readOnly().is("name of its key"),
    number(WDLT_IN(WdchSystemProtocolHandler, dependentScanEngine), nullptr)
        .readOnly()
        .is("bits of the scan items that are on"),
    number(WDLT_IN(WdchSystemProtocolHandler, redirectCount), nullptr).readOnly().is("number of its redirects"),
};
static_assert(cover(kHandlerFields, WDLT_IN(WdchSystemProtocolHandler, name),
                    WDLT_IN(WdchSystemProtocolHandler, dependentScanEngine),
                    WDLT_IN(WdchSystemProtocolHandler, redirectCount), WDLT_IN(WdchSystemProtocolHandler, redirects)));

inline constexpr FieldOf<WdchSystemScan> kScanItemFields[] = {
    number(WDLT_IN(WdchSystemScan, enable), "Enable")
        .namedAsMember()
        .unreadable(0, Told::Quietly)
        .flag("the item is on")
        .fresh(0),
    text(WDLT_IN(WdchSystemScan, logExtension), "LogExtension")
        .namedAsMember()
        .unreadable("", Told::Quietly)
        .is("extension of the item's log files")
        .fresh("log"),
};
static_assert(cover(kScanItemFields));

inline constexpr FieldOf<WdchSystemScanCommon> kScanItemCommonFields[] = {
    text(WDLT_IN(WdchSystemScanCommon, filename), "Filename")
        .namedAsMember()
        .unreadable("", Told::Quietly)
        .is("the item's engine"),
};
static_assert(cover(kScanItemCommonFields));

inline constexpr FieldOf<WdltHttpsConfig> kHttpsFields[] = {
    number(WDLT_IN(WdltHttpsConfig, enable), "Enable")
        .namedAsMember()
        .unreadable(0, Told::Quietly)
        .is("flags: 1 the scan of HTTPS, the others are the service's; any but 0 switches on what the filter needs")
        .fresh(0),
    text(WDLT_IN(WdltHttpsConfig, HostFilterAlertFile), "HostFilterAlertFile")
        .is("page for a host that is held back")
        .fresh("HostFAlert.htm"),
    text(WDLT_IN(WdltHttpsConfig, HostFilterErrorFile), "HostFilterErrorFile")
        .is("page for a host that can't be checked")
        .fresh("HostFError.htm"),
    text(WDLT_IN(WdltHttpsConfig, PrivacyDataAlertFile), "PrivacyDataAlertFile")
        .is("page for private data that are held back")
        .fresh("PrivAlert.htm"),
    text(WDLT_IN(WdltHttpsConfig, UrlFilterAlertFile), "UrlFilterAlertFile")
        .is("page for a URL that is held back")
        .fresh("UrlFAlert.htm"),
    text(WDLT_IN(WdltHttpsConfig, UrlFilterCredAlertFile), "UrlFilterCredAlertFile")
        .is("page for a URL held back for its credibility")
        .fresh("UrlFCredAlert.htm"),
};
static_assert(cover(kHttpsFields));

} // namespace wdlt

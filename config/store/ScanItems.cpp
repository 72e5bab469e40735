#include "ScanItems.h"

#include <wdltcfg/addresses.h>

namespace wdlt {
namespace {

struct ScanItem {
    DWORD scan;
    const char* name;
};

constexpr ScanItem kScanItems[] = {
    {WDLT_SCAN_VIRUS, "Virus"},
    {WDLT_SCAN_HTTP_IMAGE_FILTER, "HTTPImageFilter"},
    {WDLT_SCAN_URL_FILTER, "URLFilter"},
    {WDLT_SCAN_PRIVACY, "PrivacyProtection"},
    {WDLT_SCAN_MASS_MAIL, "MassMailMonitor"},
    {WDLT_SCAN_HTTP_CLEANER, "HTTPCleaner"},
    {WDLT_SCAN_ANTI_SPAM, "AntiSpam"},
    {WDLT_SCAN_HOST_FILTER, "HostFilter"},
    {WDLT_SCAN_NETWORK_EVENTS, "NetworkEvents"},
    {WDLT_SCAN_SAL, "SAL"},
    {WDLT_SCAN_TEST_ENGINE, "TestEngine"},
    {WDLT_SCAN_MAIL_MANAGER, "MailManager"},
    {WDLT_SCAN_HTTP_MANAGER, "HttpManager"},
    {WDLT_SCAN_IM_MANAGER, "ImManager"},
    {WDLT_SCAN_TEST_MANAGER, "TestManager"},
};

} // namespace

const char* scanItemName(DWORD scan, DWORD input) {
    if (scan == WDLT_SCAN_VIRUS && input == WDLT_INPUT_HTTP_FILE_SCAN)
        return "HttpFileScan";
    if (scan == WDLT_SCAN_HTTP_MANAGER && input == WDLT_INPUT_HTTPS_FILTER)
        return "HttpsFilter";
    for (const ScanItem& item : kScanItems)
        if (item.scan == scan)
            return item.name;
    return nullptr;
}

} // namespace wdlt

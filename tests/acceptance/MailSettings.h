// The mail manager's settings, told as rows.
#pragma once

#include "FieldCases.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <string>

inline const std::string kMailKey = "Scan\\Common\\MailManager\\config";

#define AT(member) WDLT_FIELD(WdsmMailConfig, member)

inline RecordCase mailConfig() {
    const auto plainNumber = [](const char* value, const char* field, std::size_t offset, std::size_t size) {
        return numberCase(value, offset, size).named(field).neverWritten();
    };
    const auto plainText = [](const char* value, const char* field, std::size_t offset, std::size_t size) {
        return textCase(value, offset, size)
            .with(std::string(value).substr(0, 15), "another")
            .named(field)
            .neverWritten();
    };
    return {
        .name = "Mail",
        .scan = WDLT_SCAN_MAIL_MANAGER,
        .key = kMailKey,
        .size = sizeof(WdsmMailConfig),
        .fields =
            {
                plainNumber("BytesPerEntHdr", "dwBytesPerEntHdr", AT(dwBytesPerEntHdr)),
                plainNumber("ExtlactLvlPerMsg", "dwExtlactLvlPerMsg", AT(dwExtlactLvlPerMsg)),
                plainNumber("EntPerMsg", "dwEntPerMsg", AT(dwEntPerMsg)),
                plainNumber("ParamPerHdrField", "dwParamPerHdrField", AT(dwParamPerHdrField)),
                plainNumber("HdrPerEnt", "dwHdrPerEnt", AT(dwHdrPerEnt)),
                plainNumber("EnableDisclaimer", "dwEnableDisclaimer", AT(dwEnableDisclaimer)),
                plainText("DisclaimerOriginalName", "szDisclaimerOriginalName", AT(szDisclaimerOriginalName)),
                plainText("DisclaimerCharset", "szDisclaimerCharset", AT(szDisclaimerCharset))
                    .with("charset", "another"),
                plainText("DisclaimerSubject", "szDisclaimerSubject", AT(szDisclaimerSubject)),
                plainText("DisclaimerAddress", "szDisclaimerAddress", AT(szDisclaimerAddress)).with("a@b.c", "another"),
                plainText("DisclaimerFile", "szDisclaimerFile", AT(szDisclaimerFile)),
                plainText("WarningFile", "szWarningFilename", AT(szWarningFilename)),
                plainText("SpywareWarning", "szSpywareWarning", AT(szSpywareWarning)),
                plainText("SpywareCharset", "szSpywareCharset", AT(szSpywareCharset))
                    .whenUnreadable(quietlyReadsAs("charset")),
                plainText("SpywareSubject", "szSpywareSubject", AT(szSpywareSubject))
                    .whenUnreadable(quietlyReadsAs("")),
                plainText("SpywareAddress", "szSpywareAddress", AT(szSpywareAddress))
                    .whenUnreadable(quietlyReadsAs("a@b.c")),
                plainText("SpywareExtension", "szSpywareExtension", AT(szSpywareExtension)),
                numberCase("AddressCacheDirection", AT(dwAddressCacheDirection))
                    .named("dwAddressCacheDirection")
                    .whenAbsent(quietlyReadsAs(0u)),
                plainNumber("MaxAddressCacheCount", "dwMaxAddressCacheCount", AT(dwMaxAddressCacheCount))
                    .whenAbsent(quietlyReadsAs(100u)),
            },
        .unreadLine = "[WdltCfg.dll] ReadConfig fails ({status}) : WdsmMailConfig::{field}",
        .unwrittenLine = "[WdltCfg.dll] WriteConfig fails ({status}) : WdsmMailConfig::{field}",
    };
}
#undef AT

/* Settings of anti-spam and of the mail manager. */

#include "Records.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr Field kAntiSpam[] = {
    numberField(WDLT_MEMBER(WdltAspmConfig, dwScanType), "kind of scan"),
    numberField(WDLT_MEMBER(WdltAspmConfig, dwLevel), "level of detection, 0 to 2").atMost(2),
    textField(WDLT_MEMBER(WdltAspmConfig, szPrefixSpam), "put before the subject of spam"),
    textField(WDLT_MEMBER(WdltAspmConfig, szPrefixPhishing), "of phishing"),
    textField(WDLT_MEMBER(WdltAspmConfig, szPrefixMalicious), "of a mail with something malicious"),
    textField(WDLT_MEMBER(WdltAspmConfig, szPrefixSuspicious), "of a suspicious mail"),
    textField(WDLT_MEMBER(WdltAspmConfig, szPrefixBlack), "of a mail that the black list names"),
    flagField(WDLT_MEMBER(WdltAspmConfig, dwEnableImageDetection), "1: images are looked into"),
    flagField(WDLT_MEMBER(WdltAspmConfig, dwEnableInTheCloud), "1: the rating service is asked"),
};

constexpr Field kMail[] = {
    numberField(WDLT_MEMBER(WdsmMailConfig, dwAddressCacheDirection), "which addresses are remembered"),
    numberField(WDLT_MEMBER(WdsmMailConfig, dwMaxAddressCacheCount), "and how many").readOnly(),
    flagField(WDLT_MEMBER(WdsmMailConfig, dwEnableDisclaimer), "1: mails get a disclaimer").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szDisclaimerFile), "its file").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szDisclaimerCharset), "its charset").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szDisclaimerSubject), "its subject").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szDisclaimerAddress), "its address").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szDisclaimerOriginalName), "name of what it is attached to").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szWarningFilename), "file of the note on what was removed").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szSpywareWarning), "file of the note on spyware").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szSpywareCharset), "its charset").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szSpywareSubject), "its subject").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szSpywareAddress), "its address").readOnly(),
    textField(WDLT_MEMBER(WdsmMailConfig, szSpywareExtension), "its extension").readOnly(),
    numberField(WDLT_MEMBER(WdsmMailConfig, dwHdrPerEnt), "most header lines of a part").readOnly(),
    numberField(WDLT_MEMBER(WdsmMailConfig, dwParamPerHdrField), "most parameters of a header line").readOnly(),
    numberField(WDLT_MEMBER(WdsmMailConfig, dwEntPerMsg), "most parts of a mail").readOnly(),
    numberField(WDLT_MEMBER(WdsmMailConfig, dwExtlactLvlPerMsg), "most layers of parts").readOnly(),
    numberField(WDLT_MEMBER(WdsmMailConfig, dwBytesPerEntHdr), "most bytes of a part's header").readOnly(),
};

std::int32_t readMail(const std::string&, std::span<BYTE> record) {
    std::uint64_t size = record.size();
    return WdltReadConfig(WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_DEFAULT, record.data(), &size);
}

std::int32_t writeMail(const std::string&, std::span<BYTE> record) {
    return WdltWriteConfig(WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_DEFAULT, record.data(),
                           record.size());
}

} // namespace

const Record kAntiSpamRecord =
    exportedRecord<WdltAspmConfig, WdltAspmReadConfig, WdltAspmWriteConfig>("aspm", "anti-spam of POP3", kAntiSpam);
const Record kMailRecord = {"mail", "the mail manager", sizeof(WdsmMailConfig), kMail, readMail, writeMail};

} // namespace wdlt

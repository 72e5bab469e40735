/* Every record, handler and list, read as the verbs do. */

#include "Catalog.h"
#include "Display.h"
#include "Findings.h"
#include "Handlers.h"
#include "KeyPath.h"
#include "LibraryStatus.h"
#include "PrivacyMend.h"
#include "Records.h"
#include "RegistryKey.h"
#include "TextLists.h"
#include "Utf.h"
#include "Verbs.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

std::string settingsKey(std::string_view path) {
    return displayText(joinPath(kRootName, path.empty() ? std::u16string(kBasePath)
                                                        : joinPath(kBasePath, utf16FromUtf8(path).value_or(u"?"))));
}

/* Nothing when the call succeeds, else why not. */
template <class Call>
std::string failureOf(Call&& call) {
    try {
        const std::int32_t status = call();
        return status == WDLT_OK ? "" : statusText(status);
    } catch (const ToolError& error) {
        return error.what();
    }
}

void lookAtRecord(Findings& findings, const Record& record, const std::string& which) {
    const std::string name = which.empty() ? std::string(record.name) : fmt::format("{} {}", record.name, which);
    std::vector<BYTE> bytes(record.size);
    const std::string failure = failureOf([&] { return record.read(which, bytes); });
    if (failure.empty())
        return;
    const auto* settings = std::ranges::find(kSettings, name, &Settings::name);
    if (settings == std::end(kSettings))
        settings = std::ranges::find(kSettings, record.name, &Settings::name);
    findings.push_back({settingsKey(settings == std::end(kSettings) ? "" : settings->key),
                        fmt::format("{} can't be read: {}; wdltctl reset {}", name, failure, name)});
}

void lookAtRecords(Findings& findings) {
    for (const Record& record : allRecords()) {
        if (record.whichWords == nullptr) {
            lookAtRecord(findings, record, "");
            continue;
        }
        const std::string failure = failureOf([&] {
            for (const std::string& which : record.whichWords())
                lookAtRecord(findings, record, which);
            return WDLT_OK;
        });
        if (!failure.empty())
            findings.push_back({settingsKey("ProtocolHandler"), fmt::format("can't be read: {}", failure)});
    }
}

void lookAtHandlers(Findings& findings) {
    std::map<std::uint32_t, std::u16string> served;
    for (const HandlerKey& handler : allHandlerKeys()) {
        const std::string path = settingsKey("ProtocolHandler\\" + utf8FromUtf16(handler.name));
        if (handler.type == 0) {
            findings.push_back(
                {path, "its Type can't be read: wdltreg set KEY Type dword 1 (POP3), 2 (SMTP), 3 (HTTP)"});
            continue;
        }
        if (const auto [first, isFirst] = served.emplace(handler.type, handler.name); !isFirst)
            findings.push_back(
                {path,
                 fmt::format("serves protocol {}, as {} does: only one of them is used; wdltreg delete removes a key",
                             handler.type, displayText(first->second))});
        const std::u16string folder = joinPath(joinPath(kBasePath, u"Scan"), handler.scan);
        if (handler.scan.empty() || !RegistryKey::openIfThere(folder))
            findings.push_back(
                {path, fmt::format("its folder of scan items, Scan\\{}, isn't there", displayText(handler.scan))});
    }
}

void lookAtLists(Findings& findings, const Installation& installation) {
    const auto tell = [&](std::string path, std::string_view name, const std::string& failure) {
        if (!failure.empty())
            findings.push_back({std::move(path), fmt::format("{} can't be read: {}", name, failure)});
    };
    for (const DataFile& file : allDataFiles()) {
        if (file.list.empty())
            continue;
        const TextList& list = *std::ranges::find(allTextLists(), file.list, &TextList::name);
        const std::string name =
            list.types.empty() ? std::string(list.name) : fmt::format("{} {}", list.name, list.types[file.type]);
        Texts texts;
        tell(installation.pathOf(file), name, failureOf([&] { return missingIsEmpty(list.read(file.type, texts)); }));
    }
    tell(installation.pathOf(kAddressCache), "addresses", failureOf([] {
             std::int32_t count = 0;
             return missingIsEmpty(WdltMahReadRecordList(nullptr, &count));
         }));
    tell(settingsKey("PluginManager\\DRS\\WhiteList"), "rules", failureOf([] {
             std::int32_t count = 0;
             const std::int32_t status = WdltGetAllDRSWhiteListItem(nullptr, &count);
             return status == WDLT_E_BUFFER_SIZE ? WDLT_OK : status;
         }));
}

void lookAtDatabase(Findings& findings, const Installation& installation, HomeCopy& kept) {
    try {
        if (const std::string fault = databaseFault(installation); !fault.empty())
            findings.push_back(
                {installation.pathOf(kPrivacyDatabase), fault, true,
                 [&installation, &kept, path = installation.pathOf(kPrivacyDatabase)] {
                     try {
                         return mendDatabase(installation, kept, false);
                     } catch (const ToolError& error) {
                         if (!isGranted(fmt::format("{}: {}. Make it anew without them", path, error.what())))
                             throw;
                         return mendDatabase(installation, kept, true);
                     }
                 }});
    } catch (const ToolError& error) {
        findings.push_back({settingsKey(kPrivacyDatabase.key), fmt::format("can't be read: {}", error.what())});
    }
}

} // namespace

void lookAtSettings(Findings& findings, const Installation& installation, HomeCopy& kept) {
    lookAtHandlers(findings); // first: a record that can't be read may follow from it
    lookAtRecords(findings);
    if (installation.install.empty()) {
        findings.push_back(
            {settingsKey(""), "InstallPath isn't there or is empty; wdltctl set system installPath=DIR"});
        return;
    }
    lookAtLists(findings, installation);
    lookAtDatabase(findings, installation, kept);
}

} // namespace wdlt

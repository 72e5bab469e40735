#include "SpamFiles.h"

#include "Installation.h"
#include "Owner.h"

#include "Display.h"
#include "FieldText.h"
#include "HeldList.h"
#include "LayerError.h"
#include "LibraryStatus.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>
#include <wdltcfg/addresses.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr std::size_t kMostLineBytes = sizeof(WdpeAspmEntry::szEntry) - 1;

/* What a read doesn't give back, or a write doesn't take, of one line. */
struct Trouble {
    const char* what;
    bool (*isIn)(std::string_view line, std::size_t entries); /* `entries`: how many there are with this line */
};

constexpr Trouble kTroubles[] = {
    {"over 255 bytes", [](std::string_view line, std::size_t) { return line.size() > kMostLineBytes; }},
    {"a zero byte", [](std::string_view line, std::size_t) { return line.find('\0') != line.npos; }},
    {"not text in the system code page", [](std::string_view line, std::size_t) { return !isCodePageText(line); }},
    {"a carriage return before its end", [](std::string_view line, std::size_t) { return line.ends_with('\r'); }},
    {"after the 500th entry",
     [](std::string_view line, std::size_t entries) { return !line.empty() && entries > WDLT_MAX_ASPM_RECORDS; }},
};

/* "lines 2, 5 to 7 and 12 more". */
std::string linesText(const std::vector<std::size_t>& numbers) {
    constexpr int kMostRuns = 4;
    std::string text = numbers.size() == 1 ? "line" : "lines";
    int runs = 0;
    for (std::size_t at = 0; at < numbers.size(); ++runs) {
        if (runs == kMostRuns)
            return text + fmt::format(" and {} more", numbers.size() - at);
        std::size_t last = at;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1)
            ++last;
        text += fmt::format("{} {}", runs == 0 ? "" : ",", numbers[at]);
        if (last != at)
            text += fmt::format(" to {}", numbers[last]);
        at = last + 1;
    }
    return text;
}

bool isUtf16(std::string_view content) {
    return content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF");
}

/* "lines 2, 5 to 7: over 255 bytes; line 501: after the 500th entry; "; empty where there is no trouble. */
std::string troublesOf(std::string_view content) {
    if (isUtf16(content))
        return "UTF-16; ";
    std::vector<std::size_t> lines[std::size(kTroubles)];
    std::size_t entries = 0;
    for (std::size_t number = 1; !content.empty(); ++number) {
        const std::size_t end = std::min(content.find('\n'), content.size());
        std::string_view line = content.substr(0, end);
        if (end != content.size() && line.ends_with('\r'))
            line.remove_suffix(1);
        content.remove_prefix(std::min(end + 1, content.size()));
        entries += (line.size() + kMostLineBytes - 1) / kMostLineBytes; // a long line is read as several
        for (std::size_t i = 0; i < std::size(kTroubles); ++i)
            if (kTroubles[i].isIn(line, entries))
                lines[i].push_back(number);
    }
    std::string text;
    for (std::size_t i = 0; i < std::size(kTroubles); ++i)
        if (!lines[i].empty())
            text += fmt::format("{}: {}; ", linesText(lines[i]), kTroubles[i].what);
    return text;
}

std::string contentOf(const std::string& path) {
    try {
        return HeldList(path, FILE_SHARE_READ | FILE_SHARE_WRITE).content();
    } catch (const LayerError& error) {
        throw ToolError(
            ExitStatus::Failed,
            fmt::format("{}; every change of anti-spam rewrites both lists: move that file away first", error.what()));
    }
}

} // namespace

std::int32_t readSpamRecord(WdpeAspmData& record) {
    std::uint64_t size = sizeof record;
    return WdltReadConfig(WDLT_PROTOCOL_POP3, WDLT_SCAN_ANTI_SPAM, WDLT_CONFIG_DEFAULT, &record, &size);
}

void lookAtSpamFiles(bool isForced) {
    refuseOthers(homePath(), storedInstall());
    const auto record = std::make_unique<WdpeAspmData>();
    checkStatus(readSpamRecord(*record), "the spam lists");
    for (const std::string& name : {narrowOf(record->szWhitelistFile), narrowOf(record->szBlacklistFile)}) {
        if (name.empty())
            continue;
        const std::string path = installedFile(name);
        const std::string troubles = troublesOf(contentOf(path));
        if (!troubles.empty() && !isForced)
            throw ToolError(ExitStatus::Failed,
                            fmt::format("{}: {}a change of anti-spam rewrites both lists: --force does it all the same",
                                        displayPath(displayNarrow(path)), troubles));
    }
}

} // namespace wdlt

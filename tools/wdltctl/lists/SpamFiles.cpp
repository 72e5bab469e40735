#include "SpamFiles.h"

#include "Display.h"
#include "FieldText.h"
#include "LayerError.h"
#include "LibraryStatus.h"
#include "ListFile.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <wdltcfg/addresses.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr std::size_t kMostLineBytes = sizeof(WdpeAspmEntry::szEntry) - 1;

/* What a read doesn't give back, and the numbers of the lines, from 1. */
struct Loss {
    const char* what;
    std::vector<std::size_t> lines;
};

/* "2, 5 to 7 and 12 more". */
std::string numbersText(const std::vector<std::size_t>& numbers) {
    constexpr int kMostRuns = 4;
    std::string text;
    int runs = 0;
    for (std::size_t at = 0; at < numbers.size(); ++runs) {
        if (runs == kMostRuns)
            return text + fmt::format(" and {} more", numbers.size() - at);
        std::size_t last = at;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1)
            ++last;
        text += fmt::format("{}{}", text.empty() ? "" : ", ", numbers[at]);
        if (last != at)
            text += fmt::format(" to {}", numbers[last]);
        at = last + 1;
    }
    return text;
}

bool isUtf16(std::string_view content) {
    return content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF");
}

std::vector<Loss> lossesOf(std::string_view content) {
    if (isUtf16(content))
        return {{"begins a text in UTF-16", {1}}};
    Loss losses[] = {{"has more than 255 bytes", {}},
                     {"has a zero byte", {}},
                     {"isn't text in the system code page", {}},
                     {"comes after 500 entries", {}}};
    auto& [longOnes, zeros, foreign, beyond] = losses;
    std::size_t entries = 0;
    for (std::size_t number = 1; !content.empty(); ++number) {
        const std::size_t end = std::min(content.find('\n'), content.size());
        std::string_view line = content.substr(0, end);
        content.remove_prefix(std::min(end + 1, content.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        entries += (line.size() + kMostLineBytes - 1) / kMostLineBytes; // a long line is read as several
        const std::pair<Loss&, bool> found[] = {{longOnes, line.size() > kMostLineBytes},
                                                {zeros, line.find('\0') != line.npos},
                                                {foreign, !isCodePageText(line)},
                                                {beyond, !line.empty() && entries > WDLT_MAX_ASPM_RECORDS}};
        for (const auto& [loss, isFound] : found)
            if (isFound)
                loss.lines.push_back(number);
    }
    std::vector<Loss> some;
    std::ranges::copy_if(losses, std::back_inserter(some), [](const Loss& loss) { return !loss.lines.empty(); });
    return some;
}

std::string contentOf(const std::string& path) {
    try {
        return ListFile(path, FILE_SHARE_READ | FILE_SHARE_WRITE).content();
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
    const auto record = std::make_unique<WdpeAspmData>();
    checkStatus(readSpamRecord(*record), "the spam lists");
    for (const std::string& name : {narrowOf(record->szWhitelistFile), narrowOf(record->szBlacklistFile)}) {
        const std::string path = installedFile(name);
        const std::string content = contentOf(path);
        if (isForced)
            continue;
        std::string text;
        for (const Loss& loss : lossesOf(content))
            text += fmt::format("{}line {} {}", text.empty() ? "" : ", ", numbersText(loss.lines), loss.what);
        if (!text.empty())
            throw ToolError(ExitStatus::Failed,
                            fmt::format("{}: {}; every change of anti-spam rewrites both lists and would lose that: "
                                        "--force does it all the same",
                                        displayPath(displayNarrow(path)), text));
    }
}

} // namespace wdlt

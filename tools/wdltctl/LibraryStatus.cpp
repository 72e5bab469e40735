#include "LibraryStatus.h"

#include "LibraryWatch.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

constexpr struct Advice {
    std::int32_t status;
    const char* words;
} kAdvice[] = {
    {WDLT_E_GENERAL, "wdltctl check tells more"},
    {WDLT_E_LIBRARY, "libWdMsg.so and libWdDbg64.so belong beside libWdltCfg.so, or into its folder wdltcfg"},
    {WDLT_E_FILE, "look at the file's rights and at the disk's space; wdltctl check tells more"},
    {WDLT_E_REGISTRY, "wdltctl check tells more"},
    {WDLT_E_TEMP_FILE, "look at the rights and the space of tempPath and installPath"},
    {WDLT_E_NO_ANSWER, "it sees it at its next start; the same command again tells it now"},
    {WDLT_E_CHARSET_START, "reinstall the charset library with its data"},
};

} // namespace

std::string statusText(std::int32_t status) {
    return fmt::format("status {} ({})", status, wdltStatusText(status));
}

std::int32_t missingIsEmpty(std::int32_t status) {
    return status == WDLT_E_FILE_NOT_FOUND ? WDLT_OK : status;
}

void checkStatus(std::int32_t status, std::string_view detail, std::string_view path) {
    const std::string logged = LibraryWatch::takeLastError();
    if (status >= WDLT_OK)
        return;
    std::string text = fmt::format("{}: {}", LibraryWatch::verb(), statusText(status));
    if (!detail.empty())
        text += fmt::format(": {}", detail);
    if (!path.empty())
        text += fmt::format(", {}", path);
    if (!logged.empty() && status != WDLT_E_NO_ANSWER)
        text += fmt::format(": \"{}\"", logged);
    const auto* const advice = std::ranges::find(kAdvice, status, &Advice::status);
    const std::string& verb = LibraryWatch::verb();
    if (advice != std::end(kAdvice) && verb != "check" && !verb.starts_with("raw "))
        text += fmt::format("; {}", advice->words);
    const ErrorPlace place{wdltStatusName(status), std::string(path), std::string(detail)};
    if (status == WDLT_E_NO_ANSWER)
        throw ToolError(ExitStatus::Untold, "stored, but the service wasn't told: " + text, place);
    throw ToolError(ExitStatus::Failed, text, place);
}

} // namespace wdlt

#include "LibraryStatus.h"

#include "ToolError.h"

#include <fmt/format.h>
#include <wdltcfg/status.h>

namespace wdlt {

std::string statusText(std::int32_t status) {
    const char* words = wdltStatusText(status);
    return fmt::format("status {} ({})", status, words != nullptr ? words : "unknown");
}

void checkStatus(std::int32_t status, std::string_view detail) {
    if (status >= WDLT_OK)
        return;
    const std::string text = fmt::format("{}{}{}", statusText(status), detail.empty() ? "" : ": ", detail);
    if (status == WDLT_E_NO_ANSWER)
        throw ToolError(ExitStatus::Untold, "stored, but the service wasn't told: " + text);
    throw ToolError(ExitStatus::Failed, text);
}

} // namespace wdlt

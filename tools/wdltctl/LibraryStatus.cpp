#include "LibraryStatus.h"

#include "ToolError.h"

#include <fmt/format.h>
#include <wdltcfg/status.h>

namespace wdlt {

void checkStatus(std::int32_t status, std::string_view detail) {
    if (status >= WDLT_OK)
        return;
    const char* words = wdltStatusText(status);
    throw ToolError(ExitStatus::Failure, fmt::format("status {} ({}){}{}", status, words != nullptr ? words : "unknown",
                                                     detail.empty() ? "" : ": ", detail));
}

} // namespace wdlt

#include "ListFiles.h"

#include "DataFile.h"
#include "Files.h"
#include "OneState.h"
#include "ToolError.h"

#include <algorithm>
#include <cstring>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {

ListState ListFiles::look() {
    ListState state{registryGeneration(), {}};
    if (state.generation != m_generation || m_paths[0].empty())
        find(state.generation);
    std::ranges::transform(m_paths, state.marks.begin(), fileMark);
    return state;
}

void ListFiles::find(std::uint64_t generation) {
    m_paths = {};
    WdchSystemData system{};
    std::uint64_t size = sizeof system;
    const std::int32_t status =
        WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, &system, &size);
    const std::string prefix(system.installPath, strnlen(system.installPath, sizeof system.installPath));
    // All of its values take their defaults when the registry can't be read.
    if (status != WDLT_OK || prefix.empty())
        throw ToolError(ExitStatus::Unknown, "no installation can be read: wdltctl check tells more");
    std::array<std::string, 3> paths;
    std::ranges::transform(std::array{"urls white", "urls black", "hosts"}, paths.begin(), [&](std::string_view what) {
        return pathOf(std::ranges::find(allDataFiles(), what, &DataFile::what)->narrowNameBehind(prefix));
    });
    m_paths = std::move(paths);
    m_generation = generation;
}

} // namespace wdlt

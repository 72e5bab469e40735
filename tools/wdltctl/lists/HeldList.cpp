#include "HeldList.h"

#include "Display.h"
#include "FieldText.h"
#include "LayerError.h"
#include "LibraryStatus.h"

#include <array>
#include <utility>
#include <wdltcfg/addresses.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {

std::string installedFile(const std::string& name) {
    WdchSystemData system{};
    std::uint64_t size = sizeof system;
    checkStatus(WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, &system, &size), "system");
    return narrowOf(system.installPath) + name;
}

HeldList::HeldList(std::string path, DWORD share) : m_path(std::move(path)) {
    m_file = CreateFileA(m_path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
    const DWORD error = m_file == INVALID_HANDLE_VALUE ? GetLastError() : DWORD{ERROR_SUCCESS};
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND)
        throw LayerError(displayPath(displayNarrow(m_path)), static_cast<LONG>(error));
}

HeldList::~HeldList() {
    if (m_file != INVALID_HANDLE_VALUE)
        CloseHandle(m_file);
}

std::string HeldList::content() const {
    std::string content;
    std::array<char, 65536> buffer{};
    DWORD bytes = m_file == INVALID_HANDLE_VALUE ? 0 : DWORD{buffer.size()};
    while (bytes != 0) {
        if (ReadFile(m_file, buffer.data(), static_cast<DWORD>(buffer.size()), &bytes, nullptr) == FALSE)
            throw LayerError(displayPath(displayNarrow(m_path)), static_cast<LONG>(GetLastError()));
        content.append(buffer.data(), bytes);
    }
    return content;
}

} // namespace wdlt

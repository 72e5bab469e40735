#include "HomeCopy.h"

#include "Display.h"
#include "Files.h"
#include "LayerError.h"

#include <cerrno>
#include <fmt/format.h>
#include <platform/file_content.h>
#include <platform/identity.h>
#include <sys/stat.h>
#include <system_error>

namespace wdlt {
namespace {

LayerError lastFailure(const std::string& file) {
    return {file, static_cast<LONG>(GetLastError())};
}

} // namespace

const std::string& HomeCopy::folder() {
    if (!m_path.empty())
        return m_path;
    const std::string all = m_home + "/backup";
    if (WdMakeFolder(all.c_str()) == FALSE)
        throw lastFailure(all);
    SYSTEMTIME now{};
    GetLocalTime(&now);
    const std::string first = fmt::format("{}/{:04}-{:02}-{:02}T{:02}-{:02}-{:02}", all, now.wYear, now.wMonth,
                                          now.wDay, now.wHour, now.wMinute, now.wSecond);
    std::string path = first;
    for (int next = 2; ::mkdir(path.c_str(), S_IRWXU) != 0; ++next) {
        if (errno != EEXIST)
            throw ToolError(ExitStatus::Failed, fmt::format("{}: {}", path, std::generic_category().message(errno)));
        path = fmt::format("{}-{}", first, next);
    }
    m_path = path;
    return m_path;
}

void HomeCopy::keepText(std::string_view name, std::string_view content) {
    const std::string file = fmt::format("{}/{}", folder(), name);
    if (WdReplaceContent(file.c_str(), content.data(), static_cast<DWORD>(content.size())) == FALSE)
        throw lastFailure(file);
}

std::string HomeCopy::copyFile(const std::string& file) {
    if (const auto done = m_copies.find(file); done != m_copies.end())
        return done->second;
    if (!isThere(file))
        return "";
    const std::string first = folder() + file.substr(file.find_last_of('/'));
    std::string copy = first;
    for (int next = 2; isThere(copy); ++next)
        copy = fmt::format("{}-{}", first, next);
    if (WdCopyContent(file.c_str(), copy.c_str()) == FALSE)
        throw lastFailure(file);
    m_copies.emplace(file, copy);
    return copy;
}

std::string HomeCopy::moveFile(const std::string& file) {
    std::string copy = copyFile(file);
    if (!copy.empty())
        removeFile(file);
    return copy;
}

ToolError HomeCopy::told(const ToolError& error, ExitStatus status) const {
    return {status,
            m_path.empty() ? error.what()
                           : fmt::format("{}; what was there is kept in {}", error.what(), displayFile(m_path)),
            error.place()};
}

} // namespace wdlt

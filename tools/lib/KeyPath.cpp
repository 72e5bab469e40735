#include "KeyPath.h"

#include "ToolError.h"
#include "Utf.h"

#include <algorithm>
#include <fmt/format.h>

namespace wdlt {
namespace {

// Roots that this registry doesn't have: taken as relative names they would quietly become ordinary keys.
constexpr std::u16string_view kForeignRoots[] = {u"HKEY_CURRENT_USER",
                                                 u"HKEY_USERS",
                                                 u"HKEY_CLASSES_ROOT",
                                                 u"HKEY_CURRENT_CONFIG",
                                                 u"HKCU",
                                                 u"HKU",
                                                 u"HKCR",
                                                 u"HKCC"};

template <class Unit>
bool areSame(std::basic_string_view<Unit> a, std::basic_string_view<Unit> b) {
    const auto lower = [](Unit unit) { return unit >= 'A' && unit <= 'Z' ? static_cast<Unit>(unit + 32) : unit; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](Unit x, Unit y) { return lower(x) == lower(y); });
}

} // namespace

bool equalsIgnoringCase(std::u16string_view a, std::u16string_view b) {
    return areSame(a, b);
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return areSame(a, b);
}

std::u16string parseKeyArgument(std::string_view argument) {
    std::u16string path = utf16FromArgument(argument);
    if (path.find(u'\\') == std::u16string::npos)
        std::replace(path.begin(), path.end(), u'/', u'\\');
    if (path.size() > 1 && path.ends_with(u'\\'))
        path.pop_back();

    const std::size_t end = path.find(u'\\');
    const std::u16string_view first = std::u16string_view(path).substr(0, end);
    for (const auto root : kForeignRoots) {
        if (equalsIgnoringCase(first, root))
            throw ToolError(ExitStatus::Usage, fmt::format("{}: the one root is HKEY_LOCAL_MACHINE", argument));
    }
    if (!equalsIgnoringCase(first, kRootName) && !equalsIgnoringCase(first, u"HKLM"))
        return path;
    return end == std::u16string::npos ? std::u16string() : path.substr(end + 1);
}

std::string fullKeyName(std::u16string_view path) {
    return utf8FromUtf16(joinPath(kRootName, path));
}

std::u16string joinPath(std::u16string_view path, std::u16string_view name) {
    std::u16string joined(path);
    if (!path.empty() && !name.empty())
        joined.push_back(u'\\');
    joined.append(name);
    return joined;
}

} // namespace wdlt

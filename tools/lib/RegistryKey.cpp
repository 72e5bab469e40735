#include "RegistryKey.h"

#include "Display.h"
#include "KeyPath.h"
#include "LayerError.h"
#include "OneState.h"
#include "Utf.h"
#include "Wide.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

namespace wdlt {
namespace {

HKEY rootKey() {
    return HKEY_LOCAL_MACHINE; // NOLINT(performance-no-int-to-ptr): a handle by its number
}

// A name has at most kMaxNameUnits units, plus its terminator.
using NameBuffer = std::array<char16_t, kMaxNameUnits + 1>;

constexpr std::size_t kShortValue = 256; // bytes; longer values are read in two steps

bool isMissing(LONG code) {
    return code == static_cast<LONG>(ERROR_FILE_NOT_FOUND);
}
bool isGone(LONG code) {
    return isMissing(code) || code == static_cast<LONG>(ERROR_KEY_DELETED);
}

/* An enumeration goes by an index, which shifts when somebody adds or removes something in between. */
template <class Read>
auto readAtOnce(HKEY key, Read read) {
    constexpr int kTries = 1000; // each write of another process takes longer than a read
    for (int i = 0; i < kTries; ++i) {
        const std::uint64_t before = stateOf(key);
        auto found = read();
        if (stateOf(key) == before)
            return found;
    }
    throw ToolError(ExitStatus::Unknown, "the registry doesn't stay as it is for as long as it takes to read a key");
}

} // namespace

RegistryKey RegistryKey::open(std::u16string path, REGSAM access) {
    HKEY key = nullptr;
    if (const LONG error = RegOpenKeyExW(rootKey(), wide(path), 0, access, &key))
        throw LayerError(displayText(joinPath(kRootName, path)), error);
    return {key, std::move(path)};
}

std::optional<RegistryKey> RegistryKey::openIfThere(std::u16string path, REGSAM access) {
    try {
        return open(std::move(path), access);
    } catch (const LayerError& error) {
        if (isGone(error.code()))
            return std::nullopt;
        throw;
    }
}

RegistryKey RegistryKey::create(std::u16string path) {
    if (path.empty())
        return open(std::move(path), KEY_ALL_ACCESS);
    HKEY key = nullptr;
    DWORD disposition = 0;
    if (const LONG error = RegCreateKeyExW(rootKey(), wide(path), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                           nullptr, &key, &disposition))
        throw LayerError(displayText(joinPath(kRootName, path)), error);
    if (disposition == REG_CREATED_NEW_KEY)
        countWrite();
    return {key, std::move(path)};
}

RegistryKey::RegistryKey(RegistryKey&& other) noexcept
    : m_key(std::exchange(other.m_key, nullptr)), m_path(std::move(other.m_path)) {}

RegistryKey& RegistryKey::operator=(RegistryKey&& other) noexcept {
    std::swap(m_key, other.m_key);
    std::swap(m_path, other.m_path);
    return *this;
}

RegistryKey::~RegistryKey() {
    if (m_key != nullptr)
        RegCloseKey(m_key);
}

std::string RegistryKey::describe(std::u16string_view valueName) const {
    const std::string key = displayText(joinPath(kRootName, m_path));
    return valueName.empty() ? key : fmt::format("{} \"{}\"", key, displayText(valueName));
}

std::vector<std::u16string> RegistryKey::subkeyNames() const {
    return readAtOnce(m_key, [this] { return enumerateKeys(); });
}

std::vector<RegValue> RegistryKey::values() const {
    return readAtOnce(m_key, [this] { return enumerateValues(); });
}

std::vector<std::u16string> RegistryKey::enumerateKeys() const {
    std::vector<std::u16string> names;
    for (DWORD index = 0;; ++index) {
        NameBuffer name{};
        DWORD length = name.size();
        const LONG error = RegEnumKeyExW(m_key, index, wide(name), &length, nullptr, nullptr, nullptr, nullptr);
        if (error == static_cast<LONG>(ERROR_NO_MORE_ITEMS) || isGone(error))
            return names;
        if (error != 0)
            throw LayerError(describe({}), error);
        names.emplace_back(name.data(), length);
    }
}

std::vector<RegValue> RegistryKey::enumerateValues() const {
    std::vector<RegValue> values;
    for (DWORD index = 0;; ++index) {
        NameBuffer name{};
        DWORD length = name.size();
        RegValue value{{}, REG_NONE, std::vector<BYTE>(kShortValue), false};
        auto size = static_cast<DWORD>(value.data.size());
        LONG error = RegEnumValueW(m_key, index, wide(name), &length, nullptr, &value.type, value.data.data(), &size);
        const bool isLong = error == static_cast<LONG>(ERROR_MORE_DATA);
        if (isLong) {
            length = name.size();
            error = RegEnumValueW(m_key, index, wide(name), &length, nullptr, nullptr, nullptr, nullptr);
        }
        if (error == static_cast<LONG>(ERROR_NO_MORE_ITEMS) || isGone(error))
            return values;
        if (error != 0)
            throw LayerError(describe({}), error);
        value.name.assign(name.data(), length);
        value.data.resize(size);
        if (!isLong)
            values.push_back(std::move(value));
        else if (auto found = this->value(value.name)) // by its name, since somebody may write meanwhile
            values.push_back(*std::move(found));
    }
}

std::optional<RegValue> RegistryKey::value(const std::u16string& name) const {
    RegValue value{name, REG_NONE, std::vector<BYTE>(kShortValue), false};
    for (;;) {
        auto size = static_cast<DWORD>(value.data.size());
        const LONG error = RegQueryValueExW(m_key, wide(name), nullptr, &value.type, value.data.data(), &size);
        if (isGone(error))
            return std::nullopt;
        if (error != 0 && error != static_cast<LONG>(ERROR_MORE_DATA))
            throw LayerError(describe(name), error);
        value.data.resize(size);
        if (error == 0)
            return value;
    }
}

void RegistryKey::setValue(const RegValue& value) const {
    if (const LONG error = RegSetValueExW(m_key, wide(value.name), 0, value.type, value.data.data(),
                                          static_cast<DWORD>(value.data.size())))
        throw LayerError(describe(value.name), error);
    countWrite();
}

bool RegistryKey::deleteValue(const std::u16string& name) const {
    // Check first: inside a batch a failing write, even deleting a missing value, would discard the rest.
    if (!value(name))
        return false;
    const LONG error = RegDeleteValueW(m_key, wide(name));
    if (error != 0 && !isMissing(error))
        throw LayerError(describe(name), error);
    if (error == 0)
        countWrite();
    return error == 0;
}

namespace {

// Damaged pages may lead in a circle.
constexpr std::size_t kMostDepth = 512;
constexpr std::size_t kMostPending = 1'000'000;

/* Whether the key above names this one, which can't be opened. */
bool isListed(const std::u16string& path) {
    const std::size_t end = path.rfind(u'\\');
    const auto above = RegistryKey::openIfThere(end == std::u16string::npos ? u"" : path.substr(0, end));
    const auto names = above ? above->subkeyNames() : std::vector<std::u16string>();
    return std::ranges::find(names, path.substr(end + 1)) != names.end();
}

} // namespace

void walkKeys(const std::u16string& path, const std::function<void(const RegistryKey&, std::size_t)>& visit) {
    struct Pending {
        std::u16string path;
        std::size_t depth;
    };
    const auto visitAndPush = [&](const RegistryKey& key, std::size_t depth, std::vector<Pending>& pending) {
        visit(key, depth);
        const auto names = key.subkeyNames();
        for (auto name = names.rbegin(); name != names.rend(); ++name)
            pending.push_back({joinPath(key.path(), *name), depth + 1});
    };

    std::vector<Pending> pending;
    visitAndPush(RegistryKey::open(path), 0, pending);
    while (!pending.empty()) {
        const Pending next = std::move(pending.back());
        pending.pop_back();
        if (next.depth > kMostDepth || pending.size() > kMostPending)
            throw LayerError(fullKeyName(next.path), static_cast<LONG>(ERROR_REGISTRY_CORRUPT));
        auto key = RegistryKey::openIfThere(next.path);
        if (!key && isListed(next.path)) {
            key = RegistryKey::openIfThere(next.path); // deleted and made again meanwhile
            if (!key && isListed(next.path))
                throw LayerError(fullKeyName(next.path), static_cast<LONG>(ERROR_REGISTRY_CORRUPT));
        }
        if (key)
            visitAndPush(*key, next.depth, pending);
    }
}

bool deleteTree(const std::u16string& path) {
    if (!RegistryKey::openIfThere(path))
        return false;
    std::vector<std::u16string> paths;
    walkKeys(path, [&](const RegistryKey& key, std::size_t) { paths.push_back(key.path()); });
    for (auto each = paths.rbegin(); each != paths.rend(); ++each) {
        if (const LONG error = RegDeleteKeyW(rootKey(), wide(*each)))
            throw LayerError(displayText(joinPath(kRootName, *each)), error);
        countWrite();
    }
    return true;
}

} // namespace wdlt

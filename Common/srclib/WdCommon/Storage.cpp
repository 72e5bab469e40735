#include "WdCommon/Storage.h"

#include "SecurityAttributes.h"

#include <platform/ini.h>
#include <platform/text.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <new>

namespace WdCommon::Storage {

namespace {

constexpr REGSAM kDelete = 0x10000;
constexpr REGSAM kOpenWrite = kDelete | KEY_SET_VALUE;
constexpr REGSAM kOpenEnum = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;
constexpr REGSAM kOpenCreate = KEY_READ | KEY_WRITE;
static_assert(kOpenWrite == 0x10002 && kOpenEnum == 9 && kOpenCreate == 0x2001F);

constexpr std::size_t kTextStep = 256;
constexpr std::size_t kNameStep = 512;

bool isEmpty(const char* text) {
    return text == nullptr || *text == '\0';
}

const char* orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

// Makes a Try form out of a throwing one.
template <class Read>
bool caught(DWORD& error, Read&& read) {
    error = ERROR_SUCCESS;
    try {
        read();
        return true;
    } catch (Exception* thrown) { // NOLINT(misc-throw-by-value-catch-by-reference)
        const std::unique_ptr<Exception> owned(thrown);
        error = owned->errorCode();
        return false;
    }
}

[[noreturn]] void fail(DWORD error, DWORD line) {
    WdCommon::Exception::raise<Exception>(error, __FILE__, line);
}

void check(LONG error, DWORD line) {
    if (error != 0)
        fail(static_cast<DWORD>(error), line);
}

} // namespace

// The folder's last character may be a double-byte one whose second byte looks like a backslash, so it is found by
// walking.
std::string withSeparator(const char* folder) {
    std::string text = orEmpty(folder);
    char last = '\\';
    for (const char* at = text.c_str(); *at != '\0'; at = CharNextA(at))
        last = *at;
    if (last != '\\' && last != '/')
        text += '\\';
    return text;
}

bool Base::OpenWrite(const Key&, const char*) {
    return false;
}

bool Base::OpenEnum(const Key&, const char*) {
    return false;
}

bool Base::TryGetBinary(const char*, std::vector<BYTE>&, DWORD&) {
    return false;
}

bool Base::GetBinary(const char*, std::vector<BYTE>&) {
    return false;
}

bool Base::TryGetString(std::string& out, const char*, const char* defaultText, DWORD&) {
    out = orEmpty(defaultText);
    return true;
}

DWORD Base::TryGetNumber(const char*, DWORD defaultNumber, DWORD&) {
    return defaultNumber;
}

bool Base::SetBinary(const char*, std::span<const BYTE>) {
    return false;
}

bool Base::EnumSections(std::vector<std::string>&) {
    return false;
}

bool Base::EnumValues(std::vector<std::string>&) {
    return false;
}

void IniFile::requireOpen() const {
    if (m_path.empty() || m_section.empty())
        fail(ERROR_BAD_ARGUMENTS, __LINE__);
}

void IniFile::requireName(const char* name) const {
    requireOpen();
    if (isEmpty(name))
        fail(ERROR_BAD_ARGUMENTS, __LINE__);
}

bool IniFile::OpenRead(const Key& key, const char* section) {
    m_path = withSeparator(key.pszRoot.folder) + orEmpty(key.pszPath);
    m_section = orEmpty(section);
    requireOpen();
    return true;
}

bool IniFile::OpenCreate(const Key& key, const char* section) {
    return OpenRead(key, section);
}

bool IniFile::Close(int flush) {
    if (flush == 1)
        Flush();
    m_path.clear();
    m_section.clear();
    return true;
}

// A flush that succeeds gives zero, as one that fails does.
bool IniFile::Flush() {
    WritePrivateProfileStringA(nullptr, nullptr, nullptr, m_path.c_str());
    return true;
}

bool IniFile::GetString(std::string& out, const char* name, const char* defaultText) {
    out = orEmpty(defaultText);
    requireName(name);
    try {
        // A result of size - 1 may be truncated. The size doubles since each try reads the file: small steps could take
        // minutes for a very long text.
        for (std::size_t size = kTextStep; size <= std::numeric_limits<DWORD>::max(); size += size) {
            std::string text(size, '\0');
            const DWORD length = GetPrivateProfileStringA(m_section.c_str(), name, orEmpty(defaultText), text.data(),
                                                          static_cast<DWORD>(size), m_path.c_str());
            if (length == size - 1)
                continue;
            text.resize(length);
            out = std::move(text);
            return true;
        }
    } catch (const std::bad_alloc&) {
        // reported below
    }
    fail(ERROR_INVALID_HANDLE, __LINE__);
}

DWORD IniFile::GetNumber(const char* name, DWORD defaultNumber) {
    requireName(name);
    return GetPrivateProfileIntA(m_section.c_str(), name, static_cast<int>(defaultNumber), m_path.c_str());
}

bool IniFile::write(const char* name, const char* value) const {
    requireName(name);
    if (WritePrivateProfileStringA(m_section.c_str(), name, value, m_path.c_str()) == FALSE)
        fail(GetLastError(), __LINE__);
    return true;
}

bool IniFile::SetString(const char* name, const char* value) {
    return write(name, orEmpty(value));
}

bool IniFile::SetNumber(const char* name, DWORD value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%lu", static_cast<unsigned long>(value));
    return write(name, text.data());
}

Registry::~Registry() {
    if (m_key != nullptr)
        RegCloseKey(m_key);
}

HKEY Registry::requireKey() const {
    if (m_key == nullptr)
        fail(ERROR_INVALID_HANDLE, __LINE__);
    return m_key;
}

void Registry::setAddress(const Key& key, const char* section) {
    if (m_key != nullptr)
        RegCloseKey(m_key);
    m_key = nullptr;
    m_root = key.pszRoot.key;
    m_path = withSeparator(key.pszPath) + orEmpty(section);
}

void Registry::open(const Key& key, const char* section, REGSAM access) {
    setAddress(key, section);
    check(RegOpenKeyExA(m_root, m_path.c_str(), 0, access, &m_key), __LINE__);
}

bool Registry::OpenRead(const Key& key, const char* section) {
    open(key, section, KEY_READ);
    return true;
}

bool Registry::OpenCreate(const Key& key, const char* section) {
    setAddress(key, section);
    AccessControl::SecurityAttributes attributes(AccessControl::kRegistryKeyKind, FALSE);
    check(RegCreateKeyExA(m_root, m_path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, kOpenCreate, &attributes, &m_key,
                          nullptr),
          __LINE__);
    return true;
}

bool Registry::OpenWrite(const Key& key, const char* section) {
    open(key, section, kOpenWrite);
    return true;
}

bool Registry::OpenEnum(const Key& key, const char* section) {
    open(key, section, kOpenEnum);
    return true;
}

bool Registry::Close(int flush) {
    if (flush == 1)
        Flush();
    const LONG error = RegCloseKey(requireKey());
    m_key = nullptr;
    check(error, __LINE__);
    return true;
}

bool Registry::Flush() {
    requireKey();
    return true;
}

// Size first, then data; again if another process stored a longer value in between.
DWORD Registry::query(const char* name, std::vector<BYTE>& data) const {
    HKEY key = requireKey();
    try {
        LONG error = static_cast<LONG>(ERROR_MORE_DATA);
        DWORD type = REG_NONE;
        DWORD size = 0;
        while (error == static_cast<LONG>(ERROR_MORE_DATA)) {
            size = 0;
            check(RegQueryValueExA(key, name, nullptr, &type, nullptr, &size), __LINE__);
            data.resize(std::max<std::size_t>(size, 1)); // null data would ask for the size again
            error = RegQueryValueExA(key, name, nullptr, &type, data.data(), &size);
        }
        check(error, __LINE__);
        data.resize(size);
        return type;
    } catch (const std::bad_alloc&) {
        fail(ERROR_INVALID_HANDLE, __LINE__);
    }
}

bool Registry::GetBinary(const char* name, std::vector<BYTE>& data) {
    if (query(name, data) != REG_BINARY)
        fail(ERROR_INVALID_DATA, __LINE__);
    return true;
}

bool Registry::TryGetBinary(const char* name, std::vector<BYTE>& data, DWORD& error) {
    return caught(error, [&] { GetBinary(name, data); });
}

bool Registry::GetString(std::string& out, const char* name, const char* defaultText) {
    out = orEmpty(defaultText);
    std::vector<BYTE> data;
    if (query(name, data) != REG_SZ)
        fail(ERROR_INVALID_DATA, __LINE__);
    out.assign(data.begin(), std::find(data.begin(), data.end(), BYTE{0}));
    return true;
}

bool Registry::TryGetString(std::string& out, const char* name, const char* defaultText, DWORD& error) {
    return caught(error, [&] { GetString(out, name, defaultText); });
}

DWORD Registry::GetNumber(const char* name, DWORD) {
    DWORD number = 0;
    DWORD type = REG_NONE;
    DWORD size = sizeof number;
    const LONG error = RegQueryValueExA(requireKey(), name, nullptr, &type, reinterpret_cast<LPBYTE>(&number), &size);
    if (error == static_cast<LONG>(ERROR_MORE_DATA))
        fail(ERROR_INVALID_DATA, __LINE__);
    check(error, __LINE__);
    if (type != REG_DWORD || size != sizeof number)
        fail(ERROR_INVALID_DATA, __LINE__);
    return number;
}

DWORD Registry::TryGetNumber(const char* name, DWORD defaultNumber, DWORD& error) {
    DWORD number = defaultNumber;
    caught(error, [&] { number = GetNumber(name, defaultNumber); });
    return number;
}

void Registry::set(const char* name, DWORD type, const void* data, std::size_t size) const {
    HKEY key = requireKey();
    if (size > std::numeric_limits<DWORD>::max())
        fail(ERROR_INVALID_PARAMETER, __LINE__);
    check(RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)), __LINE__);
}

bool Registry::SetBinary(const char* name, std::span<const BYTE> data) {
    set(name, REG_BINARY, data.data(), data.size());
    return true;
}

bool Registry::SetString(const char* name, const char* value) {
    set(name, REG_SZ, orEmpty(value), std::char_traits<char>::length(orEmpty(value)) + 1);
    return true;
}

bool Registry::SetNumber(const char* name, DWORD value) {
    set(name, REG_DWORD, &value, sizeof value);
    return true;
}

namespace {

// Collects names until the call says that there are no more; retries with a larger buffer when a name doesn't fit.
template <class Next>
void collectNames(std::vector<std::string>& names, Next&& next) {
    names.clear();
    std::string name(kNameStep, '\0');
    for (DWORD index = 0;;) {
        auto length = static_cast<DWORD>(name.size());
        const LONG error = next(index, name.data(), &length);
        if (error == static_cast<LONG>(ERROR_NO_MORE_ITEMS))
            return;
        if (error == static_cast<LONG>(ERROR_MORE_DATA) && name.size() < std::size_t{0x10000}) {
            name.resize(name.size() * 2);
            continue;
        }
        check(error, __LINE__);
        names.emplace_back(name.data(), length);
        ++index;
    }
}

} // namespace

bool Registry::EnumSections(std::vector<std::string>& names) {
    HKEY key = requireKey();
    collectNames(names, [key](DWORD index, LPSTR name, LPDWORD length) {
        return RegEnumKeyExA(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    return true;
}

bool Registry::EnumValues(std::vector<std::string>& names) {
    HKEY key = requireKey();
    collectNames(names, [key](DWORD index, LPSTR name, LPDWORD length) {
        return RegEnumValueA(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    return true;
}

} // namespace WdCommon::Storage

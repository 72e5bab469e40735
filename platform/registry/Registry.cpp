// The registry's calls: they check arguments, resolve handles, and make one read or one change on the store. Each A and
// W pair is one template over the form of its texts. No lock of its own.
#include "Home.h"
#include "LastError.h"
#include "RegistryBatch.h"
#include "RegistryHandles.h"
#include "RegistryName.h"
#include "RegistryStore.h"
#include "RegistryText.h"

#include <platform/home.h>
#include <platform/registry.h>
#include <platform/registry_state.h>
#include <platform/security.h>

#include <cstring>
#include <memory>

namespace wd {

namespace {

constexpr DWORD kMaxDataBytes = DWORD{1} << 20;
constexpr DWORD kLocalMachine = 0x80000002;

// Only its lower half counts: programs keep it in 32 bits, and widen that as they like.
bool isLocalMachine(HKEY handle) {
    return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(handle)) == kLocalMachine;
}

// Generic rights as a key's own.
REGSAM keyRights(REGSAM access) {
    if ((access & (GENERIC_ALL | MAXIMUM_ALLOWED)) != 0)
        access |= KEY_ALL_ACCESS;
    if ((access & (GENERIC_READ | GENERIC_EXECUTE)) != 0)
        access |= KEY_READ;
    if ((access & GENERIC_WRITE) != 0)
        access |= KEY_WRITE;
    return access;
}

// The key behind a handle, for one call. The error is ERROR_INVALID_HANDLE, or the reason why the home can't be used at
// all.
class KeyUse {
  public:
    explicit KeyUse(HKEY handle) {
        if (isLocalMachine(handle)) {
            m_root.store = RegistryStore::of(home(), m_error);
            m_root.access = KEY_ALL_ACCESS;
            m_key = &m_root;
        } else if (m_use.acquire(handle)) {
            m_key = &m_use.key();
        } else {
            m_error = ERROR_INVALID_HANDLE;
        }
    }

    LONG error() const { return static_cast<LONG>(m_error); }
    LONG require(REGSAM access) const {
        if (m_error == ERROR_SUCCESS && (m_key->access & access) != access)
            return ERROR_ACCESS_DENIED;
        return error();
    }
    RegistryStore& store() const { return *m_key->store; }
    std::string_view path() const { return m_key->path; }
    std::uint64_t identity() const { return m_key->identity; }
    KeyReference reference() const { return {std::string(path()), identity()}; }

  private:
    HandleUse m_use;
    OpenKey m_root;
    const OpenKey* m_key = nullptr;
    DWORD m_error = ERROR_SUCCESS;
};

LONG fail(LONG error) {
    return failed(static_cast<DWORD>(error));
}

// A write that fails before the batch sees it still counts as a failing write of the batch.
LONG failWrite(LONG error) {
    Batch* batch = error == ERROR_SUCCESS ? nullptr : Batch::current();
    return fail(batch == nullptr ? error : batch->refuse(error));
}

// The two kinds of calls, each around the body of an exported function: exhausted memory is ERROR_NOT_ENOUGH_MEMORY.
template <typename Body>
LONG readCall(Body&& body) {
    return fail(withinMemory(body));
}

template <typename Body>
LONG writeCall(Body&& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return failWrite(ERROR_NOT_ENOUGH_MEMORY);
    }
}

LONG makeHandle(const KeyUse& base, std::string_view path, std::uint64_t identity, REGSAM access, HKEY* result) {
    *result = openHandle({&base.store(), path, identity, keyRights(access)});
    return static_cast<LONG>(*result == nullptr ? ERROR_NO_SYSTEM_RESOURCES : ERROR_SUCCESS);
}

// Finds a key below `base`, or `base` itself when `path` adds nothing to it.
LONG lookUp(const KeyUse& base, const KeyPath& path, std::uint64_t& identity) {
    return base.store().read([&](Transaction& transaction) -> LONG {
        RecordView record;
        LONG error = path.hasSubKey() ? findKey(transaction, path.folded(), record)
                                      : findOpenKey(transaction, base.path(), base.identity(), record);
        if (error == ERROR_FILE_NOT_FOUND && findOpenKey(transaction, base.path(), base.identity(), record) != 0)
            error = ERROR_KEY_DELETED;
        identity = record.identity();
        return error;
    });
}

template <typename Char>
LONG openKey(HKEY key, const Char* subKey, REGSAM access, HKEY* result) {
    if (result == nullptr)
        return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    const KeyUse base(key);
    if (base.error() != ERROR_SUCCESS)
        return base.error();
    KeyPath path(base.path());
    if (const DWORD error = path.append(subKey))
        return static_cast<LONG>(error);
    std::uint64_t identity = 0;
    if (const LONG error = lookUp(base, path, identity))
        return error;
    if (!path.hasSubKey() && isLocalMachine(key)) {
        *result = key;
        return ERROR_SUCCESS;
    }
    return makeHandle(base, path.folded(), identity, access, result);
}

// Most creations find the key, and then take no writer lock.
template <typename Char>
LONG createKey(HKEY key, const Char* subKey, DWORD reserved, DWORD options, REGSAM access, HKEY* result,
               DWORD* disposition) {
    if (result == nullptr)
        return failWrite(ERROR_BADKEY);
    if (reserved != 0 || options != REG_OPTION_NON_VOLATILE)
        return failWrite(ERROR_INVALID_PARAMETER);
    *result = nullptr;
    const KeyUse base(key);
    if (base.error() != ERROR_SUCCESS)
        return failWrite(base.error());
    KeyPath path(base.path());
    if (const DWORD error = path.append(subKey))
        return failWrite(static_cast<LONG>(error));
    std::uint64_t identity = 0;
    bool created = false;
    LONG error = lookUp(base, path, identity);
    if (error == ERROR_FILE_NOT_FOUND) {
        const auto change = std::make_shared<CreateKeyChange>(base.reference(), path.folded(), path.written());
        error = base.store().write(change);
        created = change->created();
        identity = change->identity();
        if (error != ERROR_SUCCESS)
            return fail(error);
    }
    if (error != ERROR_SUCCESS)
        return failWrite(error);
    if (disposition != nullptr)
        *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    return fail(makeHandle(base, path.folded(), identity, access, result));
}

// Copies a name and its terminator to a buffer known to be large enough.
template <typename View, typename Char>
void copyName(View name, Char* buffer, DWORD* length) {
    std::memcpy(buffer, name.data(), name.size() * sizeof(Char));
    buffer[name.size()] = 0;
    *length = static_cast<DWORD>(name.size());
}

// Type, size and data of a value; `data` and `type` may be null. One variable may take both type and size.
template <typename Text>
LONG giveValue(const RecordValue& value, DWORD* type, BYTE* data, DWORD* size) {
    std::string storage;
    const std::string_view bytes = dataInForm<Text>(value, storage);
    const DWORD room = size == nullptr ? 0 : *size;
    if (type != nullptr)
        *type = value.type;
    if (size == nullptr)
        return ERROR_SUCCESS;
    *size = static_cast<DWORD>(bytes.size());
    if (data == nullptr)
        return ERROR_SUCCESS;
    if (bytes.size() > room)
        return ERROR_MORE_DATA;
    std::memcpy(data, bytes.data(), bytes.size());
    // A text without data, or one that older versions stored without a terminator; the size doesn't count it.
    if (lacksTerminator<Text>(value.type, bytes) && room - bytes.size() >= sizeof(typename Text::Char))
        std::memset(data + bytes.size(), 0, sizeof(typename Text::Char));
    return ERROR_SUCCESS;
}

LONG errorOf(Lookup lookup, DWORD missing) {
    switch (lookup) {
    case Lookup::Found:
        return ERROR_SUCCESS;
    case Lookup::Missing:
        return static_cast<LONG>(missing);
    case Lookup::Malformed:
        break;
    }
    return ERROR_REGISTRY_CORRUPT;
}

// Runs `body(record)` on the record of an open key.
template <typename Body>
LONG readKey(HKEY key, REGSAM access, Body&& body) {
    const KeyUse use(key);
    if (const LONG error = use.require(access))
        return error;
    return use.store().read([&](Transaction& transaction) -> LONG {
        RecordView record;
        const LONG error = findOpenKey(transaction, use.path(), use.identity(), record);
        return error == ERROR_SUCCESS ? body(record) : error;
    });
}

template <typename Text>
LONG enumKey(HKEY key, DWORD index, typename Text::Char* name, DWORD* nameLength, const DWORD* reserved,
             typename Text::Char* className, DWORD* classLength) {
    if (name == nullptr || nameLength == nullptr || reserved != nullptr)
        return ERROR_INVALID_PARAMETER;
    if (className != nullptr && (classLength == nullptr || *classLength == 0))
        return ERROR_INVALID_PARAMETER;
    const LONG error = readKey(key, KEY_ENUMERATE_SUB_KEYS, [&](const RecordView& record) -> LONG {
        RecordSubkey subkey;
        if (const LONG missing = errorOf(record.subkeyAt(index, subkey), ERROR_NO_MORE_ITEMS))
            return missing;
        std::basic_string<typename Text::Char> storage;
        const auto subkeyName = Text::name(subkey.written, storage);
        if (subkeyName.size() >= *nameLength)
            return ERROR_MORE_DATA;
        copyName(subkeyName, name, nameLength);
        return ERROR_SUCCESS;
    });
    if (error != ERROR_SUCCESS)
        return error;
    if (className != nullptr) // keys have no class here
        *className = 0;
    if (classLength != nullptr)
        *classLength = 0;
    return ERROR_SUCCESS;
}

template <typename Text>
LONG enumValue(HKEY key, DWORD index, typename Text::Char* name, DWORD* nameLength, const DWORD* reserved, DWORD* type,
               BYTE* data, DWORD* size) {
    if (name == nullptr || nameLength == nullptr || reserved != nullptr || (data != nullptr && size == nullptr))
        return ERROR_INVALID_PARAMETER;
    return readKey(key, KEY_QUERY_VALUE, [&](const RecordView& record) -> LONG {
        RecordValue value;
        if (const LONG missing = errorOf(record.valueAt(index, value), ERROR_NO_MORE_ITEMS))
            return missing;
        std::basic_string<typename Text::Char> storage;
        const auto valueName = Text::name(value.written, storage);
        const bool isNameGiven = valueName.size() < *nameLength;
        const LONG error = giveValue<Text>(value, type, isNameGiven ? data : nullptr, size);
        if (!isNameGiven)
            return ERROR_MORE_DATA;
        if (error == ERROR_SUCCESS || Text::kForm == Form::Wide)
            copyName(valueName, name, nameLength);
        return error;
    });
}

template <typename Text>
LONG queryValue(HKEY key, const typename Text::Char* name, const DWORD* reserved, DWORD* type, BYTE* data,
                DWORD* size) {
    if (reserved != nullptr || (data != nullptr && size == nullptr))
        return ERROR_INVALID_PARAMETER;
    ValueName valueName;
    const bool isNamePossible = valueName.set(name) == ERROR_SUCCESS; // no value has a name beyond the limits
    return readKey(key, KEY_QUERY_VALUE, [&](const RecordView& record) -> LONG {
        RecordValue value;
        const Lookup found = isNamePossible ? record.findValue(valueName.folded(), value) : Lookup::Missing;
        if (found == Lookup::Found)
            return giveValue<Text>(value, type, data, size);
        if (found == Lookup::Missing && data == nullptr && size != nullptr)
            *size = 0;
        return errorOf(found, ERROR_FILE_NOT_FOUND);
    });
}

template <typename Text>
LONG setValue(HKEY key, const typename Text::Char* name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (reserved != 0 || size > kMaxDataBytes)
        return failWrite(ERROR_INVALID_PARAMETER);
    if (data == nullptr && size != 0)
        return failWrite(ERROR_NOACCESS);
    ValueName valueName;
    if (const DWORD error = valueName.set(name))
        return failWrite(static_cast<LONG>(error));
    const KeyUse use(key);
    if (const LONG error = use.require(KEY_SET_VALUE))
        return failWrite(error);
    std::string storage;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const RecordValue value{valueName.folded(), valueName.written(), type, storedForm<Text>(type),
                            storedData<Text>(type, bytes, storage)};
    return fail(use.store().write(std::make_shared<SetValueChange>(use.reference(), value)));
}

template <typename Char>
LONG deleteKey(HKEY key, const Char* subKey) {
    const KeyUse base(key);
    if (base.error() != ERROR_SUCCESS)
        return failWrite(base.error());
    KeyPath path(base.path());
    if (const DWORD error = path.append(subKey))
        return failWrite(static_cast<LONG>(error));
    if (!path.hasSubKey()) // the key itself isn't deleted through its own handle
        return failWrite(ERROR_INVALID_PARAMETER);
    return fail(base.store().write(std::make_shared<DeleteKeyChange>(base.reference(), path.folded())));
}

template <typename Char>
LONG deleteValue(HKEY key, const Char* name) {
    ValueName valueName;
    const bool isNamePossible = valueName.set(name) == ERROR_SUCCESS; // no value has a name beyond the limits
    const KeyUse use(key);
    if (const LONG error = use.require(KEY_SET_VALUE))
        return failWrite(error);
    if (!isNamePossible)
        return failWrite(ERROR_FILE_NOT_FOUND);
    return fail(use.store().write(std::make_shared<DeleteValueChange>(use.reference(), valueName.folded())));
}

// Runs `body(environment)` where this thread reads what is committed; false elsewhere.
template <typename Body>
BOOL committed(Body&& body) {
    RegistryStore* const store = Batch::current() == nullptr ? RegistryStore::known(home()) : nullptr;
    return store != nullptr && withinMemory(FALSE, [&]() -> BOOL { return body(store->environment()); });
}

} // namespace

} // namespace wd

LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD, REGSAM access, HKEY* result) {
    return wd::readCall([&] { return wd::openKey(key, subKey, access, result); });
}

LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD, REGSAM access, HKEY* result) {
    return wd::readCall([&] { return wd::openKey(key, subKey, access, result); });
}

LONG RegCreateKeyExA(HKEY key, LPCSTR subKey, DWORD reserved, LPSTR, DWORD options, REGSAM access, void*, HKEY* result,
                     LPDWORD disposition) {
    return wd::writeCall([&] { return wd::createKey(key, subKey, reserved, options, access, result, disposition); });
}

LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR, DWORD options, REGSAM access, void*,
                     HKEY* result, LPDWORD disposition) {
    return wd::writeCall([&] { return wd::createKey(key, subKey, reserved, options, access, result, disposition); });
}

LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD nameLength, LPDWORD reserved, LPSTR className,
                   LPDWORD classLength, void*) {
    return wd::readCall(
        [&] { return wd::enumKey<wd::NarrowText>(key, index, name, nameLength, reserved, className, classLength); });
}

LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPWSTR className,
                   LPDWORD classLength, void*) {
    return wd::readCall(
        [&] { return wd::enumKey<wd::WideText>(key, index, name, nameLength, reserved, className, classLength); });
}

LONG RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD nameLength, LPDWORD reserved, LPDWORD type, LPBYTE data,
                   LPDWORD size) {
    return wd::readCall(
        [&] { return wd::enumValue<wd::NarrowText>(key, index, name, nameLength, reserved, type, data, size); });
}

LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPDWORD type, LPBYTE data,
                   LPDWORD size) {
    return wd::readCall(
        [&] { return wd::enumValue<wd::WideText>(key, index, name, nameLength, reserved, type, data, size); });
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    return wd::readCall([&] { return wd::queryValue<wd::NarrowText>(key, name, reserved, type, data, size); });
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
    return wd::readCall([&] { return wd::queryValue<wd::WideText>(key, name, reserved, type, data, size); });
}

LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    return wd::writeCall([&] { return wd::setValue<wd::NarrowText>(key, name, reserved, type, data, size); });
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    return wd::writeCall([&] { return wd::setValue<wd::WideText>(key, name, reserved, type, data, size); });
}

LONG RegDeleteKeyA(HKEY key, LPCSTR subKey) {
    return wd::writeCall([&] { return wd::deleteKey(key, subKey); });
}

LONG RegDeleteKeyW(HKEY key, LPCWSTR subKey) {
    return wd::writeCall([&] { return wd::deleteKey(key, subKey); });
}

LONG RegDeleteValueA(HKEY key, LPCSTR name) {
    return wd::writeCall([&] { return wd::deleteValue(key, name); });
}

LONG RegDeleteValueW(HKEY key, LPCWSTR name) {
    return wd::writeCall([&] { return wd::deleteValue(key, name); });
}

LONG RegCloseKey(HKEY key) {
    if (wd::isLocalMachine(key) || wd::closeHandle(key))
        return ERROR_SUCCESS;
    return wd::failed(ERROR_INVALID_HANDLE);
}

LONG WdRegistryGeneration(ULONGLONG* generation) {
    if (generation == nullptr)
        return wd::failed(ERROR_INVALID_PARAMETER);
    return wd::readCall([&]() -> LONG {
        const wd::KeyUse root(HKEY_LOCAL_MACHINE);
        if (root.error() != ERROR_SUCCESS)
            return root.error();
        return root.store().read([&](wd::Transaction& transaction) -> LONG {
            *generation = transaction.generation();
            return ERROR_SUCCESS;
        });
    });
}

BOOL WdGetRegistryState(WdRegistryState* state) {
    return wd::committed([&](wd::RegistryEnvironment& environment) { return environment.state(*state); });
}

BOOL WdIsRegistryState(const WdRegistryState* state) {
    if (state->opening == 0)
        return FALSE;
    return wd::committed([&](wd::RegistryEnvironment& environment) { return environment.isState(*state); });
}

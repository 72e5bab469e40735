/* An open registry key, closed by its destructor, and the plain operations on keys by path. Failures are LayerErrors
   that name the key. Names and texts use the wide calls, so that no code page conversion is involved. */
#pragma once

#include "RegText.h"

#include <functional>
#include <optional>
#include <platform/win32.h>
#include <string>
#include <vector>

namespace wdlt {

class RegistryKey {
  public:
    static RegistryKey open(std::u16string path, REGSAM access = KEY_READ);
    /* Nothing when there is no such key. */
    static std::optional<RegistryKey> openIfThere(std::u16string path, REGSAM access = KEY_READ);
    /* Creates the missing keys on the path. */
    static RegistryKey create(std::u16string path);

    RegistryKey(RegistryKey&& other) noexcept;
    RegistryKey& operator=(RegistryKey&& other) noexcept;
    ~RegistryKey();

    const std::u16string& path() const { return m_path; }
    /* In the registry's order. Each is of one state of the registry. */
    std::vector<std::u16string> subkeyNames() const;
    std::vector<RegValue> values() const;
    std::optional<RegValue> value(const std::u16string& name) const;

    void setValue(const RegValue& value) const;
    /* False when there is no such value. */
    bool deleteValue(const std::u16string& name) const;

  private:
    RegistryKey(HKEY key, std::u16string path) : m_key(key), m_path(std::move(path)) {}
    std::string describe(std::u16string_view valueName) const;
    std::vector<std::u16string> enumerateKeys() const;
    std::vector<RegValue> enumerateValues() const;

    HKEY m_key;
    std::u16string m_path;
};

/* Visits `path` and all below it, each key before its subkeys. A key that is deleted meanwhile is skipped; one that
   is listed and isn't there, or a tree without an end, is ERROR_REGISTRY_CORRUPT. */
void walkKeys(const std::u16string& path, const std::function<void(const RegistryKey&, std::size_t depth)>& visit);

/* Deletes a key with all below it; false when there is no such key. */
bool deleteTree(const std::u16string& path);

} // namespace wdlt

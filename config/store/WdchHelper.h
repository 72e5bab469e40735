// Base of all classes that map a record to named values. CConfigManager makes a helper for one call on one thread and
// drops it after the call.
#pragma once

#include "WdchIO.h"

#include <platform/base.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

// How often to read a value again that has grown since its size was queried.
inline constexpr int kTriesForGrowing = 16;

// Where a helper's record is.
struct HelperAddress {
    DWORD protocol;
    DWORD scan;
    DWORD input;
};

class WdchHelper {
  public:
    WdchHelper(const HelperAddress& address, std::unique_ptr<WdchIO> ownStore)
        : store(std::move(ownStore)), protocol(address.protocol), scan(address.scan), input(address.input) {}
    virtual ~WdchHelper() = default;
    WdchHelper(const WdchHelper&) = delete;
    WdchHelper& operator=(const WdchHelper&) = delete;

    // `data` is the caller's record, at any alignment, or null; `size` its byte count, overwritten with the size needed
    // where the result is WDLT_E_BUFFER_SIZE.
    [[nodiscard]] virtual std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) = 0;
    // `data` is not const: some helpers correct the caller's record to what they store.
    [[nodiscard]] virtual std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) = 0;

    // One value at the helper's own address; the store's status.
    [[nodiscard]] std::int32_t ReadItem(const char* section, const char* name, void* data, DWORD* size, bool wide);
    [[nodiscard]] std::int32_t WriteItem(const char* section, const char* name, DWORD type, const void* data,
                                         DWORD size, bool wide);

    // Texts of the system's own key, at most 259 bytes, empty when they can't be read. As stored: no trailing backslash
    // is added.
    std::string GetInstallPath() { return systemText("InstallPath"); }
    // Falls back to the install directory, so that a temporary file never lands in the caller's current directory.
    std::string GetTempPath();

    // Strips the directory from the path in a field of `size` bytes: keeps what follows the last `\` or `/`. Aware of
    // double-byte characters.
    static void StripPath(char* path, std::size_t size);
    // Appends a backslash to a non-empty path that doesn't end in one, if the field has room. Aware of double-byte
    // characters.
    static void EndInBackslash(char* path, std::size_t size);

    const std::unique_ptr<WdchIO> store;
    const DWORD protocol;
    const DWORD scan;
    const DWORD input;
    bool skipChangeEvent = false; // set by a write that the running service isn't notified of

  private:
    std::string systemText(const char* name);
};

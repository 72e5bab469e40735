// Base of all classes that map a record to named values. CConfigManager makes a helper for one call on one thread and
// drops it after the call.
#pragma once

#include "WdchIO.h"

#include <platform/base.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

// How often a value is asked for whose size was told, and that has grown since.
inline constexpr int kTriesForGrowing = 16;

// Where a helper's record lies.
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

    // Texts of the system's own key, at most 259 bytes, empty when they can't be read. Both folders end in a backslash
    // when the system's record wrote them.
    std::string GetInstallPath() { return systemText("InstallPath"); }
    // The install directory where none is stored: a temporary file never lands in a caller's current folder.
    std::string GetTempPath();

    // Strips the directory from the path in a field of `size` bytes: what stands behind the last `\` or `/` stays. Knows
    // double-byte characters.
    static void StripPath(char* path, std::size_t size);
    // Gives a path that isn't empty a backslash at its end where it has none and its field has room for one. The second
    // byte of a double-byte character is none.
    static void EndInBackslash(char* path, std::size_t size);

    const std::unique_ptr<WdchIO> store;
    const DWORD protocol;
    const DWORD scan;
    const DWORD input;
    bool skipChangeEvent = false; // a write that the running service isn't told of

  private:
    std::string systemText(const char* name);
};

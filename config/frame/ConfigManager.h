// Turns a numeric address into an object: each call makes the address's helper, calls it with the caller's buffer and
// destroys it. No state between calls. A read takes no lock here. A write holds wdlt_config_mutex, across all
// processes, until the running service has answered the notification: the values are stored first, then the service is
// notified.
#pragma once

#include "Mutex.h"
#include "WdchHelper.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <memory>

class CConfigManager {
  public:
    CConfigManager();
    CConfigManager(const CConfigManager&) = delete;
    CConfigManager& operator=(const CConfigManager&) = delete;

    // WDLT_E_INVALID_ARGUMENT for null `size`, WDLT_E_GENERAL for an address without a helper, WDLT_E_NO_MEMORY when
    // one can't be allocated; else the helper's status.
    [[nodiscard]] std::int32_t ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                          std::uint64_t configType, void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                           std::uint64_t configType, void* data, std::uint64_t size);

    // Each item's result becomes 0 or WDLT_E_ITEM_CONVERSION. Stores nothing and notifies nobody.
    [[nodiscard]] static std::int32_t VerifyPrivacyItems(const PrivacyViewItem* items, std::int32_t count,
                                                         std::uint32_t* results);

    // A helper with a registry store; null for an address without a helper. Throws std::bad_alloc.
    static std::unique_ptr<WdchHelper> CreateHelper(const HelperAddress& address);

    // Notifies the running service, if there is one, of the address that was written. Failures are only logged: the
    // value is already stored.
    static void ConfigChangeSender(std::uint32_t protocol, std::uint32_t scan);

    // CreateHelper for a protocol of 10000 or more, and for one below.
    static std::unique_ptr<WdchHelper> CreateHelperForSystem(const HelperAddress& address);
    static std::unique_ptr<WdchHelper> CreateHelperForProtocol(const HelperAddress& address);

  private:
    CWdMutex m_writeMutex; // locked after the reader/writer lock, before any mutex of a helper
};

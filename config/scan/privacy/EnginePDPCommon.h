// The privacy items: their view data in the registry, the search data made of them and the exclusion items in the
// privacy database. An access needs the presence mutex, which nobody waits for: up to AccessRetryCount + 1 attempts to
// create it, AccessWaitTime milliseconds apart. Readers exclude each other as well as writers.
#pragma once

#include "GMutex.h"
#include "PrivacyDatabase.h"
#include "PrivacyOperation.h"
#include "PrivacySettings.h"
#include "WdchHelper.h"
#include "Wiped.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <memory>
#include <span>

class CEnginePDPCommon final : public WdchHelper, private wdlt::PrivacyDatabase {
  public:
    using WdchHelper::WdchHelper;

    // The config type selects view data (1), search data (2) or exclusion items (3). Null data with a size of 0 asks
    // for the size.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t dwReadSwitch, void* _pData, std::uint64_t* size) override;
    // View data, and the search data with them (0 or 1), or exclusion items (3). The database is written first: a text
    // that can't be converted leaves everything as it was.
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t dwWriteSwitch, void* _pData, std::uint64_t size) override;

    // Tries to convert `count` items to the configured charsets. Each one's result becomes 0 or WDLT_E_ITEM_CONVERSION;
    // a failed item doesn't fail the call. Takes no mutex and no file.
    [[nodiscard]] std::int32_t VerifyItems(const PrivacyViewItem* _viewData, std::int32_t count,
                                           std::uint32_t* _result);

  private:
    [[nodiscard]] std::int32_t read(std::uint64_t dwReadSwitch, void* _pData, std::uint64_t* size);
    [[nodiscard]] std::int32_t ReadConfigViewData(void* buffer, std::uint64_t* size);
    [[nodiscard]] std::int32_t ReadConfigSearchData(void* buffer, std::uint64_t* size);
    [[nodiscard]] std::int32_t ReadConfigExclusionItems(void* buffer, std::uint64_t* size);
    [[nodiscard]] std::int32_t write(std::uint64_t dwWriteSwitch, const void* _pData, std::uint64_t size);
    [[nodiscard]] std::int32_t WriteConfigViewData(const void* buffer, std::uint64_t size);
    [[nodiscard]] std::int32_t WriteConfigSearchData(const PrivacyControlData& control,
                                                     std::span<const PrivacyViewItem> items);
    [[nodiscard]] std::int32_t WriteConfigExclusionItems(const void* buffer, std::uint64_t size);
    [[nodiscard]] std::int32_t verify(const PrivacyViewItem* _viewData, std::int32_t count, std::uint32_t* _result);

    [[nodiscard]] std::int32_t GetMaxBufferSize(std::uint64_t dwReadSwitch, std::uint64_t& size);
    // The presence mutex, held as long as the object lives; null when somebody else has it, or the settings can't be
    // read.
    std::unique_ptr<CGMutex> CheckGlobalMutex();
    [[nodiscard]] std::int32_t OpenDatabaseToRead(wdlt::BufferedFile& file);

    [[nodiscard]] std::int32_t checkItems(const PrivacyControlData& control, const void* buffer,
                                          wdlt::WipedVector<PrivacyViewItem>& items);
    [[nodiscard]] std::int32_t writeItems(wdlt::PrivacyOperation& operation, const PrivacyControlData& control,
                                          std::span<const PrivacyViewItem> items, DWORD oldCount);

    wdlt::PrivacySettings m_settings{*this};
};

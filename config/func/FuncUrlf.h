// The URL filter, for the WdltUrlf functions.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncUrlf : public CCfgHelper {
  public:
    [[nodiscard]] std::int32_t Enable(std::int32_t enable);
    [[nodiscard]] std::int32_t IsEnabled();

    // The settings without the proxy, and the proxy alone: each write leaves the other part as stored, and so fails if
    // the stored record can't be read.
    [[nodiscard]] std::int32_t ConfigRead(WdltUrlfConfig* pConfig);
    [[nodiscard]] std::int32_t ConfigWrite(const WdltUrlfConfig* pConfig);
    [[nodiscard]] std::int32_t ProxyRead(WdltUrlfProxy* pProxy);
    [[nodiscard]] std::int32_t ProxyWrite(const WdltUrlfProxy* pProxy);

    // Reads all records or none: WDLT_E_BUFFER_SIZE with their number when there is no room for them.
    [[nodiscard]] std::int32_t RecordListRead(std::uint32_t listType, WdpeUrlfUrlRecord* records, std::int32_t* count);
    [[nodiscard]] std::int32_t RecordListWrite(std::uint32_t listType, const WdpeUrlfUrlRecord* records,
                                               std::int32_t count);
    // Reads as many records as there is room for; with null records only their number, and returns 0.
    [[nodiscard]] std::int32_t CategoryRead(WdpeUrlfCategory* categories, std::int32_t* count);
    [[nodiscard]] std::int32_t CategoryGroupRead(WdpeUrlfCategoryGroup* groups, std::int32_t* count);

    // 1 or 0, from the running service, else from the list's file. 0 also when neither can answer.
    [[nodiscard]] std::int32_t IsUrlRecordExists(std::uint32_t listType, const WdpeUrlfUrlRecord* url);

    [[nodiscard]] std::int32_t SetExtraHeader(const WdpeUrlfExtraHeader* header);
    [[nodiscard]] std::int32_t RSInfoRead(WdpeUrlfRSInfo* pRSInfo);
    [[nodiscard]] std::int32_t RSInfoWrite(const WdpeUrlfRSInfo* pRSInfo);
    [[nodiscard]] std::int32_t UUCRead(WdpeUrlfUUC* pUUCConfig);
    [[nodiscard]] std::int32_t UUCWrite(const WdpeUrlfUUC* pUUCConfig);
    [[nodiscard]] std::int32_t EnableBackupLKQRetry(std::uint32_t enable);
    [[nodiscard]] std::int32_t IsBackupLKQRetryEnabled();
    // These three always return 0.
    [[nodiscard]] std::int32_t SetSocketFamily(std::uint32_t family);
    [[nodiscard]] std::int32_t GetSocketFamily(std::uint32_t* family);
    [[nodiscard]] std::int32_t SetQXNGuid(const char* text);

    static constexpr std::int32_t GetMaxCount(std::uint32_t /*listType*/) { return WDLT_MAX_URL_RECORDS; }

  private:
    [[nodiscard]] std::int32_t IsUrlRecordExistsInDB(std::uint32_t listType, const WdpeUrlfUrlRecord& url);
};

// The export exists, but there is no URL history.
class CFuncUrlh : public CCfgHelper {
  public:
    [[nodiscard]] static std::int32_t RecordListRead(void* /*records*/, std::int32_t* /*count*/) { return 0; }
};

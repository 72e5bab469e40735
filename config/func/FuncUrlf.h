// The URL filter, as the WdltUrlf functions have it.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncUrlf : public CCfgHelper {
  public:
    std::int32_t Enable(std::int32_t enable);
    std::int32_t IsEnabled();

    // The settings without the proxy, and the proxy alone: each write leaves the other part as it is stored, and so
    // fails while there is nothing to be left.
    std::int32_t ConfigRead(WdltUrlfConfig* pConfig);
    std::int32_t ConfigWrite(const WdltUrlfConfig* pConfig);
    std::int32_t ProxyRead(WdltUrlfProxy* pProxy);
    std::int32_t ProxyWrite(const WdltUrlfProxy* pProxy);

    // All records or none: WDLT_E_BUFFER_SIZE with their number when there is no room for them.
    std::int32_t RecordListRead(std::uint32_t listType, WdpeUrlfUrlRecord* records, std::int32_t* count);
    std::int32_t RecordListWrite(std::uint32_t listType, const WdpeUrlfUrlRecord* records, std::int32_t count);
    // As many records as there is room for; without room their number, and 0.
    std::int32_t CategoryRead(WdpeUrlfCategory* categories, std::int32_t* count);
    std::int32_t CategoryGroupRead(WdpeUrlfCategoryGroup* groups, std::int32_t* count);

    // 1 or 0: as the running service says, else as the list's file does. 0 also when neither can.
    std::int32_t IsUrlRecordExists(std::uint32_t listType, const WdpeUrlfUrlRecord* url);

    std::int32_t SetExtraHeader(const WdpeUrlfExtraHeader* header);
    std::int32_t RSInfoRead(WdpeUrlfRSInfo* pRSInfo);
    std::int32_t RSInfoWrite(const WdpeUrlfRSInfo* pRSInfo);
    std::int32_t UUCRead(WdpeUrlfUUC* pUUCConfig);
    std::int32_t UUCWrite(const WdpeUrlfUUC* pUUCConfig);
    std::int32_t EnableBackupLKQRetry(std::uint32_t enable);
    std::int32_t IsBackupLKQRetryEnabled();
    // These three give 0 whatever happens.
    std::int32_t SetSocketFamily(std::uint32_t family);
    std::int32_t GetSocketFamily(std::uint32_t* family);
    std::int32_t SetQXNGuid(const char* text);

    static constexpr std::int32_t GetMaxCount(std::uint32_t /*listType*/) { return WDLT_MAX_URL_RECORDS; }

  private:
    std::int32_t IsUrlRecordExistsInDB(std::uint32_t listType, const WdpeUrlfUrlRecord& url);
};

// There is no URL history behind its export.
class CFuncUrlh : public CCfgHelper {
  public:
    static std::int32_t RecordListRead(void* /*records*/, std::int32_t* /*count*/) { return 0; }
};

// The search data: each privacy item as it would look in the traffic, once for every configured charset.
#pragma once

#include "BufferedFile.h"
#include "CharSetConverter.h"
#include "Wiped.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <span>
#include <vector>

namespace wdlt {

// A converter that is stopped when its scope ends, even by an exception.
class StartedConverter final : public CCharSetConverter {
  public:
    ~StartedConverter() override;
    // 0, WDLT_E_CHARSET_START or WDLT_E_CHARSET; a failure is logged in the name of `operation`.
    [[nodiscard]] std::int32_t start(const char* operation);

  private:
    bool m_isStarted = false;
};

struct PrivacySearchData {
    // Makes the records of all items, whose texts must not be empty, and then writes them. WDLT_E_CHARSET_START when
    // the charset library fails to start, WDLT_E_CHARSET when it is unavailable for another reason, the converter's
    // status for an item that can't be converted to one of the charsets (except us-ascii, unless the text is in
    // us-ascii), WDLT_E_FILE when the file can't be written.
    [[nodiscard]] static std::int32_t WritePrivacySearchData(BufferedFile& file, DWORD defaultCharSet,
                                                             DWORD charSetEntry,
                                                             std::span<const PrivacyViewItem> viewItems);
    // Appends the records of one item, enciphered as they are in the file, in ascending order of their charsets' bits.
    // The converter must be started. A failure leaves the records of the charsets before it.
    [[nodiscard]] static std::int32_t CreatePrivacySearchData(const CCharSetConverter& converter, DWORD defaultCharSet,
                                                              DWORD charSetEntry, const PrivacyViewItem& viewItem,
                                                              std::vector<PrivacySearchRecord>& records,
                                                              DWORD& searchIndex);
    // Whether WritePrivacySearchData could convert the item. Nothing is kept.
    [[nodiscard]] static std::int32_t VerifyItem(const CCharSetConverter& converter, DWORD defaultCharSet,
                                                 DWORD charSetEntry, const PrivacyViewItem& viewItem);
};

} // namespace wdlt

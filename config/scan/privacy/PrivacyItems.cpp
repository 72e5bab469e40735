#include "PrivacyItems.h"

#include "PrivacyRecords.h"
#include "Rijndael.h"
#include "StoreKeys.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <platform/registry.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

namespace wdlt {
namespace {

constexpr const char* kDataName = "PrivacyData";
constexpr const char* kDataField = "privacy data";

constexpr std::int32_t kDataBytes = 32;
constexpr std::int32_t kStoredDataBytes = 48;
static_assert(Rijndael::cipherBytes(kDataBytes) == kStoredDataBytes);

constexpr ValueReport kNoLines; // the operations log failures themselves, with the entry's name

std::string numbered(const char* name, DWORD position) {
    std::array<char, 16> digits{};
    std::snprintf(digits.data(), digits.size(), "%02lu", static_cast<unsigned long>(position));
    return std::string(name).append(digits.data());
}

// The row with a numbered value's name, which must outlive it.
FieldOf<PrivacyViewItem> at(const FieldOf<PrivacyViewItem>& row, const std::string& name) {
    FieldOf<PrivacyViewItem> numberedRow = row;
    numberedRow.value = name.c_str();
    return numberedRow;
}

std::int32_t readFailed(const char* field, std::int32_t status, const std::string& entry) {
    WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyViewData() - Failed to ReadValue() for %s. lRtnSts=%ld, entry name=%s",
                field, static_cast<long>(status), entry);
    return status;
}
std::int32_t writeFailed(const char* field, std::int32_t status, const std::string& entry) {
    WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyViewData() - Failed to WriteValue() for %s. lRtnSts=%ld, "
                "entry name=%s",
                field, static_cast<long>(status), entry);
    return status;
}
std::int32_t deleteFailed(const char* field, std::int32_t status, const std::string& entry) {
    WDLOG_ERROR("*** CEnginePDPCommon::DeletePrivacyViewData() - Failed to DeleteSubSection() for %s. lRtnSts=%ld, "
                "entry name=%s",
                field, static_cast<long>(status), entry);
    return status;
}

} // namespace

std::int32_t PrivacyItems::readData(const char* name, PrivacyViewItem& item) {
    std::array<std::uint8_t, kStoredDataBytes> stored{};
    DWORD size = kStoredDataBytes;
    if (const std::int32_t status = m_helper.ReadItem("", name, stored.data(), &size, false); status != WDLT_OK)
        return readFailed(kDataField, status, name);
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kDecrypt, kPrivacyKey.data(), Rijndael::kKey16Bytes);
    Wiped<std::array<std::uint8_t, kStoredDataBytes>> plain;
    const std::int32_t plainBytes = cipher.PadDecrypt(stored.data(), static_cast<std::int32_t>(size), plain->data());
    if (plainBytes < 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyViewData() - Failed to decrypt data. err=%d", plainBytes);
        return WDLT_E_GENERAL;
    }
    std::copy_n(plain->begin(), std::min(plainBytes, kDataBytes), item.szPrivacyData);
    return WDLT_OK;
}

std::int32_t PrivacyItems::GetPrivacyViewData(DWORD count, WipedVector<PrivacyViewItem>& items) {
    const ValueAccess access{m_helper, kNoLines};
    const auto read = [&](DWORD position, PrivacyViewItem& item) {
        for (const auto& row : kPrivacyItemFields) {
            const std::string name = numbered(row.value, position);
            if (const std::int32_t status = readValue(access, at(row, name), &item, nullptr); status != WDLT_OK)
                return readFailed(row.lineName, status, name);
        }
        return readData(numbered(kDataName, position).c_str(), item);
    };
    for (DWORD position = 0; position < count; ++position) {
        Wiped<PrivacyViewItem> item;
        if (const std::int32_t status = read(position, *item); status != WDLT_OK) {
            WDLOG_ERROR("*** CEnginePDPCommon::GetPrivacyViewData() - Failed. lRtnSts=%ld", static_cast<long>(status));
            return status;
        }
        items.push_back(*item);
    }
    return WDLT_OK;
}

// Stores the first bytes of the field, whatever follows the text's terminator.
std::int32_t PrivacyItems::writeData(const char* name, const PrivacyViewItem& item) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, kPrivacyKey.data(), Rijndael::kKey16Bytes);
    std::array<std::uint8_t, kStoredDataBytes> stored{};
    const std::int32_t storedBytes =
        cipher.PadEncrypt(reinterpret_cast<const std::uint8_t*>(item.szPrivacyData), kDataBytes, stored.data());
    if (storedBytes < 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyViewData() - Failed to encrypt data. err=%d", storedBytes);
        return WDLT_E_GENERAL;
    }
    const std::int32_t status =
        m_helper.WriteItem("", name, REG_BINARY, stored.data(), static_cast<DWORD>(storedBytes), false);
    return status == WDLT_OK ? status : writeFailed(kDataField, status, name);
}

std::int32_t PrivacyItems::WritePrivacyViewData(std::span<const PrivacyViewItem> items) {
    const ValueAccess access{m_helper, kNoLines};
    DWORD position = 0;
    for (const PrivacyViewItem& given : items) {
        Wiped<PrivacyViewItem> item(given);
        for (const auto& row : kPrivacyItemFields) {
            const std::string name = numbered(row.value, position);
            if (const std::int32_t status = writeValue(access, at(row, name), &*item); status != WDLT_OK)
                return writeFailed(row.lineName, status, name);
        }
        if (const std::int32_t status = writeData(numbered(kDataName, position).c_str(), *item); status != WDLT_OK)
            return status;
        ++position;
    }
    return WDLT_OK;
}

std::int32_t PrivacyItems::DeletePrivacyViewData(DWORD from, DWORD to) {
    const auto remove = [&](const std::string& name) {
        return m_helper.store->DeleteValue(m_helper.protocol, m_helper.scan, m_helper.input, "", name.c_str());
    };
    std::int32_t last = WDLT_OK;
    for (DWORD position = from; position < to; ++position) {
        for (const auto& row : kPrivacyItemFields) {
            const std::string name = numbered(row.value, position);
            if (const std::int32_t status = remove(name); status != WDLT_OK)
                return deleteFailed(row.lineName, status, name);
        }
        const std::string name = numbered(kDataName, position);
        last = remove(name);
        if (last != WDLT_OK)
            deleteFailed(kDataField, last, name);
    }
    return last;
}

} // namespace wdlt

#include "EnginePDPCommon.h"

#include "PrivacyItems.h"
#include "PrivacySearchData.h"
#include "PrivacySwap.h"
#include "Utility.h"
#include "WdCommon/DebugLog.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <bitset>
#include <cstring>
#include <iterator>
#include <new>
#include <string>

namespace {

using namespace wdlt;

constexpr const char* kPresenceMutex = "_PRIVACY_DATA_PROTECTION_CONFIG_MUTEX";
constexpr DWORD kMostItemIndex = 31;

constexpr std::uint64_t viewBytes(DWORD count) {
    return sizeof(PrivacyControlData) + std::uint64_t{count} * sizeof(PrivacyViewItem);
}
constexpr std::uint64_t searchBytes(std::uint64_t count) {
    return sizeof(PrivacyDBHeader) + count * sizeof(PrivacySearchRecord);
}
constexpr std::uint64_t exclusionBytes(DWORD count) {
    return sizeof(PrivacyExclusionListHead) + std::uint64_t{count} * sizeof(PrivacyExclusionItem);
}

// Whether a setting was raised since the buffer's size was checked: the caller then has to ask again.
bool hasOutgrown(std::uint64_t needed, std::uint64_t* size) {
    if (needed <= *size)
        return false;
    *size = needed;
    return true;
}

// Copies a head, and the records after it, to the caller's buffer.
template <class Head, class Records>
void handOver(void* buffer, const Head& head, const Records& records) {
    std::memcpy(buffer, &head, sizeof head);
    if (!records.empty())
        std::memcpy(static_cast<char*>(buffer) + sizeof head, records.data(), records.size() * sizeof records.front());
}

template <std::size_t Size>
bool isTerminated(const char (&field)[Size]) {
    return strnlen(field, Size) < Size;
}

template <class Operation>
std::int32_t withinMemory(const char* name, Operation&& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Not enough memory.", name);
        return WDLT_E_NO_MEMORY;
    }
}

} // namespace

std::int32_t CEnginePDPCommon::ReadConfig(std::uint64_t dwReadSwitch, void* _pData, std::uint64_t* size) {
    return withinMemory("ReadConfig", [&] { return read(dwReadSwitch, _pData, size); });
}

std::int32_t CEnginePDPCommon::WriteConfig(std::uint64_t dwWriteSwitch, void* _pData, std::uint64_t size) {
    return withinMemory("WriteConfig", [&] { return write(dwWriteSwitch, _pData, size); });
}

std::int32_t CEnginePDPCommon::VerifyItems(const PrivacyViewItem* _viewData, std::int32_t count,
                                           std::uint32_t* _result) {
    return withinMemory("VerifyItems", [&] { return verify(_viewData, count, _result); });
}

std::int32_t CEnginePDPCommon::read(std::uint64_t dwReadSwitch, void* _pData, std::uint64_t* size) {
    const PrivacyOperation operation("ReadConfig");
    if (_pData == nullptr && *size != 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfig() - _pData was invalid parameter.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (dwReadSwitch != WDLT_CONFIG_PRIVACY_ITEMS && dwReadSwitch != WDLT_CONFIG_PRIVACY_SEARCH &&
        dwReadSwitch != WDLT_CONFIG_PRIVACY_EXCLUSIONS) {
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfig() - dwReadSwitch was invalid value. dwReadSwitch=%ld",
                    static_cast<long>(dwReadSwitch));
        return WDLT_E_INVALID_ARGUMENT;
    }
    std::uint64_t needed = 0;
    if (const std::int32_t status = GetMaxBufferSize(dwReadSwitch, needed); status != WDLT_OK) {
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfig() - Failed to GetMaxBufferSize(). lRtnSts=%ld",
                    static_cast<long>(status));
        return status;
    }
    if (*size < needed) {
        WDLOG_TRACE("*** CEnginePDPCommon::ReadConfig() - specified size was insufficient.");
        *size = needed;
        return WDLT_E_BUFFER_SIZE;
    }
    if (_pData != nullptr)
        std::memset(_pData, 0, *size);
    const std::unique_ptr<CGMutex> mutex = CheckGlobalMutex();
    if (mutex == nullptr) {
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfig() - Failed to CheckGlobalMutex().");
        return WDLT_E_GENERAL;
    }
    std::int32_t status = WDLT_OK;
    switch (dwReadSwitch) {
    case WDLT_CONFIG_PRIVACY_ITEMS:
        status = ReadConfigViewData(_pData, size);
        break;
    case WDLT_CONFIG_PRIVACY_SEARCH:
        status = ReadConfigSearchData(_pData, size);
        break;
    default:
        status = ReadConfigExclusionItems(_pData, size);
        break;
    }
    if (status != WDLT_OK && status != WDLT_E_BUFFER_SIZE)
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfig() - Failed to read config. dwReadSwitch=%ld, lRtnSts=%ld",
                    static_cast<long>(dwReadSwitch), static_cast<long>(status));
    return status;
}

std::int32_t CEnginePDPCommon::ReadConfigViewData(void* buffer, std::uint64_t* size) {
    PrivacyOperation operation("ReadConfigViewData");
    PrivacyControlData control{};
    if (!operation.did("GetPrivacyControlData", m_settings.GetPrivacyControlData(control)))
        return operation.status();
    DWORD maximum = 0;
    if (const std::int32_t status = m_settings.readItemEntryMax(operation.name(), maximum); status != WDLT_OK)
        return status;
    if (control.dwItemEntryCount > maximum) {
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfigViewData() - There are more items than max. Count=%lu, "
                    "MaxCount=%lu",
                    static_cast<unsigned long>(control.dwItemEntryCount), static_cast<unsigned long>(maximum));
        return WDLT_E_GENERAL;
    }
    const std::uint64_t needed = viewBytes(control.dwItemEntryCount);
    if (hasOutgrown(needed, size))
        return WDLT_E_BUFFER_SIZE;
    std::memcpy(buffer, &control, sizeof control);
    WipedVector<PrivacyViewItem> items;
    if (!operation.did("GetPrivacyViewData", PrivacyItems(*this).GetPrivacyViewData(control.dwItemEntryCount, items)))
        return operation.status();
    handOver(buffer, control, items);
    *size = needed;
    return WDLT_OK;
}

std::int32_t CEnginePDPCommon::ReadConfigSearchData(void* buffer, std::uint64_t* size) {
    PrivacyOperation operation("ReadConfigSearchData");
    BufferedFile file;
    PrivacyDBHeader header{};
    if (!operation.did("OpenDatabaseToRead", OpenDatabaseToRead(file)) ||
        !operation.did("GetPrivacyDBHeader", GetPrivacyDBHeader(file, header)))
        return operation.status();
    DWORD itemEntryMax = 0;
    if (const std::int32_t status = m_settings.readItemEntryMax(operation.name(), itemEntryMax); status != WDLT_OK)
        return status;
    DWORD charSets = 0;
    if (const std::int32_t status = m_settings.readCharSetEntry(operation.name(), charSets); status != WDLT_OK)
        return status;
    const std::uint64_t maximum = std::uint64_t{GetCharSetCount(charSets)} * itemEntryMax;
    if (header.dwSearchDataCount > maximum) {
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfigSearchData() - Database contains more items than max. Count=%lu, "
                    "MaxCount=%lu",
                    static_cast<unsigned long>(header.dwSearchDataCount), static_cast<unsigned long>(maximum));
        return WDLT_E_GENERAL;
    }
    const std::uint64_t needed = searchBytes(header.dwSearchDataCount);
    if (hasOutgrown(needed, size))
        return WDLT_E_BUFFER_SIZE;
    WipedVector<PrivacySearchRecord> records;
    if (header.dwSearchDataCount != 0 &&
        !operation.did("GetPrivacySearchData", GetPrivacySearchData(file, header.dwSearchDataCount, records)))
        return operation.status();
    handOver(buffer, header, records);
    *size = needed;
    return WDLT_OK;
}

std::int32_t CEnginePDPCommon::ReadConfigExclusionItems(void* buffer, std::uint64_t* size) {
    PrivacyOperation operation("ReadConfigExclusionItems");
    BufferedFile file;
    PrivacyDBHeader header{};
    PrivacyDBExclusionHeader exclusionHeader{};
    DWORD maximum = 0;
    if (!operation.did("OpenDatabaseToRead", OpenDatabaseToRead(file)) ||
        !operation.did("GetPrivacyDBHeader", GetPrivacyDBHeader(file, header)) ||
        !operation.did("SkipPrivacySearchData", SkipPrivacySearchData(file, header)) ||
        !operation.did("GetPrivacyDBExclusionHeader", GetPrivacyDBExclusionHeader(file, exclusionHeader)) ||
        !operation.did("GetMaxExclusionCount", m_settings.GetMaxExclusionCount(maximum)))
        return operation.status();
    const DWORD count = exclusionHeader.dwExclusionCount;
    if (count > maximum) {
        WDLOG_ERROR("*** CEnginePDPCommon::ReadConfigExclusionItems() - Database contains more exclusion items than "
                    "max. dwCount=%lu, dwMaxCount=%lu",
                    static_cast<unsigned long>(count), static_cast<unsigned long>(maximum));
        return WDLT_E_GENERAL;
    }
    const std::uint64_t needed = exclusionBytes(count);
    if (*size < needed) {
        WDLOG_TRACE("*** CEnginePDPCommon::ReadConfigExclusionItems() - Insufficient Buffer. size=%lu, "
                    "dwRequiredSize=%lu",
                    static_cast<unsigned long>(*size), static_cast<unsigned long>(needed));
        *size = needed;
        return WDLT_E_BUFFER_SIZE;
    }
    WipedVector<PrivacyExclusionItem> items;
    if (!operation.did("GetPrivacyExclusionItems", GetPrivacyExclusionItem(file, count, items)))
        return operation.status();
    handOver(buffer, PrivacyExclusionListHead{count, maximum}, items);
    *size = needed;
    return WDLT_OK;
}

std::int32_t CEnginePDPCommon::write(std::uint64_t dwWriteSwitch, const void* _pData, std::uint64_t size) {
    const PrivacyOperation operation("WriteConfig");
    if (_pData == nullptr) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfig() - _pData was invalid parameter.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (dwWriteSwitch == WDLT_CONFIG_DEFAULT)
        dwWriteSwitch = WDLT_CONFIG_PRIVACY_ITEMS;
    if (dwWriteSwitch != WDLT_CONFIG_PRIVACY_ITEMS && dwWriteSwitch != WDLT_CONFIG_PRIVACY_EXCLUSIONS) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfig() - dwWriteSwitch was invalid value. dwWriteSwitch=%ld",
                    static_cast<long>(dwWriteSwitch));
        return WDLT_E_INVALID_ARGUMENT;
    }
    const bool isViewData = dwWriteSwitch == WDLT_CONFIG_PRIVACY_ITEMS;
    if (size < (isViewData ? sizeof(PrivacyControlData) : sizeof(PrivacyExclusionListHead))) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfig() - specified size was insufficient.");
        return WDLT_E_BUFFER_SIZE;
    }
    const std::unique_ptr<CGMutex> mutex = CheckGlobalMutex();
    if (mutex == nullptr) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfig() - Failed to CheckGlobalMutex().");
        return WDLT_E_GENERAL;
    }
    const std::int32_t status =
        isViewData ? WriteConfigViewData(_pData, size) : WriteConfigExclusionItems(_pData, size);
    if (status != WDLT_OK)
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfig() - Failed to write config. dwWriteSwitch=%lu, lRtnSts=%ld",
                    static_cast<unsigned long>(dwWriteSwitch), static_cast<long>(status));
    return status;
}

std::int32_t CEnginePDPCommon::WriteConfigViewData(const void* buffer, std::uint64_t size) {
    PrivacyOperation operation("WriteConfigViewData");
    PrivacyControlData control{};
    std::memcpy(&control, buffer, sizeof control);
    if (size != viewBytes(control.dwItemEntryCount)) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - specified write size was not match. _size=%d, "
                    "sizeRead=%d",
                    loggedSize(size), loggedSize(viewBytes(control.dwItemEntryCount)));
        return WDLT_E_BUFFER_SIZE;
    }
    DWORD maximum = 0;
    if (const std::int32_t status = m_settings.readItemEntryMax(operation.name(), maximum); status != WDLT_OK)
        return status;
    if (control.dwItemEntryCount > maximum) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - Trying to write more items than max. Count=%lu, "
                    "MaxCount=%lu",
                    static_cast<unsigned long>(control.dwItemEntryCount), static_cast<unsigned long>(maximum));
        return WDLT_E_INVALID_ARGUMENT;
    }
    DWORD oldCount = 0;
    if (const std::int32_t status = m_settings.readNumber("ItemEntryCount", oldCount); status != WDLT_OK) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - Failed to ReadValue() of old count of item entry. "
                    "lRtnSts=%ld",
                    static_cast<long>(status));
        return status;
    }
    WipedVector<PrivacyViewItem> items;
    if (const std::int32_t status = checkItems(control, buffer, items); status != WDLT_OK)
        return status;
    WipedVector<PrivacyViewItem> searched;
    std::ranges::copy_if(items, std::back_inserter(searched),
                         [](const PrivacyViewItem& item) { return item.szPrivacyData[0] != '\0'; });
    if (!operation.did("WriteConfigSearchData", WriteConfigSearchData(control, searched)))
        return operation.status();
    return writeItems(operation, control, items, oldCount);
}

// Checks the items after the control record and copies them to `items`.
std::int32_t CEnginePDPCommon::checkItems(const PrivacyControlData& control, const void* buffer,
                                          WipedVector<PrivacyViewItem>& items) {
    if (!PrivacySwap::areFileNames(control)) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - Database names were invalid.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    std::bitset<kMostItemIndex + 1> indexes;
    const char* from = static_cast<const char*>(buffer) + sizeof control;
    for (DWORD i = 0; i < control.dwItemEntryCount; ++i, from += sizeof(PrivacyViewItem)) {
        Wiped<PrivacyViewItem> item;
        std::memcpy(&*item, from, sizeof *item);
        if (item->dwItemIndex > kMostItemIndex) {
            WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - Item index was too big. Index=%lu",
                        static_cast<unsigned long>(item->dwItemIndex));
            return WDLT_E_INVALID_ARGUMENT;
        }
        if (indexes.test(item->dwItemIndex)) {
            WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - Item index has duplication. Index=%lu",
                        static_cast<unsigned long>(item->dwItemIndex));
            return WDLT_E_INVALID_ARGUMENT;
        }
        // Stored without a terminator, they could never be read again.
        if (!isTerminated(item->szItemName) || !isTerminated(item->szDescription)) {
            WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - Item text has no terminator. Index=%lu",
                        static_cast<unsigned long>(item->dwItemIndex));
            return WDLT_E_INVALID_ARGUMENT;
        }
        indexes.set(item->dwItemIndex);
        items.push_back(*item);
    }
    return WDLT_OK;
}

// One transaction: a process that dies leaves the old items or the new ones. After a failing value those before it
// stay, and the step that fails is logged.
std::int32_t CEnginePDPCommon::writeItems(PrivacyOperation& operation, const PrivacyControlData& control,
                                          std::span<const PrivacyViewItem> items, DWORD oldCount) {
    PrivacyItems stored(*this);
    RegistryBatch batch;
    const bool areWritten =
        operation.did("WritePrivacyControlData", m_settings.WritePrivacyControlData(control)) &&
        operation.did("WritePrivacyViewData", stored.WritePrivacyViewData(items)) &&
        operation.did("DeletePrivacyViewData", stored.DeletePrivacyViewData(control.dwItemEntryCount, oldCount));
    if (const LONG error = batch.end(); error != ERROR_SUCCESS && areWritten) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigViewData() - Failed to store the items. LastError[0x%08x]",
                    static_cast<DWORD>(error));
        return WDLT_E_REGISTRY;
    }
    return operation.status();
}

std::int32_t CEnginePDPCommon::WriteConfigSearchData(const PrivacyControlData& control,
                                                     std::span<const PrivacyViewItem> items) {
    PrivacyOperation operation("WriteConfigSearchData");
    PrivacyDBExclusionHeader exclusionHeader{};
    std::string exclusions;
    {
        BufferedFile old;
        PrivacyDBHeader header{};
        if (!operation.did("OpenDatabaseToRead", OpenDatabaseToRead(old)) ||
            !operation.did("GetPrivacyDBHeader", GetPrivacyDBHeader(old, header)) ||
            !operation.did("SkipPrivacySearchData", SkipPrivacySearchData(old, header)) ||
            !operation.did("GetPrivacyDBExclusionHeader", GetPrivacyDBExclusionHeader(old, exclusionHeader)) ||
            !operation.did("GetBinaryData", GetBinaryData(old, exclusionHeader.dwSize, exclusions)))
            return operation.status();
    }
    PrivacySwap swap(*this, control);
    const bool isWritten =
        operation.did("BackupDatabase", swap.BackupDatabase()) &&
        operation.did("OpenTempFileToWrite", swap.OpenTempFileToWrite()) &&
        operation.did("WritePrivacyDBHeader",
                      WritePrivacyDBHeader(swap.file(), control.dwCharSetEntry, static_cast<DWORD>(items.size()))) &&
        operation.did("WritePrivacySearchData",
                      PrivacySearchData::WritePrivacySearchData(swap.file(), control.dwDefaultCharSet,
                                                                control.dwCharSetEntry, items)) &&
        operation.did("WritePrivacyExclusionHeader", WritePrivacyExclusionHeader(swap.file(), exclusionHeader)) &&
        operation.did("WriteBinaryData", WriteBinaryData(swap.file(), exclusions));
    return isWritten ? swap.replace(operation.name()) : operation.status();
}

std::int32_t CEnginePDPCommon::WriteConfigExclusionItems(const void* buffer, std::uint64_t size) {
    PrivacyOperation operation("WriteConfigExclusionItems");
    PrivacyExclusionListHead head{};
    std::memcpy(&head, buffer, sizeof head);
    if (size < exclusionBytes(head.dwExclusionCount)) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigExclusionItems() - Invalid input buffer size.");
        return WDLT_E_INVALID_ARGUMENT;
    }
    DWORD maximum = 0;
    if (!operation.did("GetMaxExclusionCount", m_settings.GetMaxExclusionCount(maximum)))
        return operation.status();
    if (head.dwExclusionCount > maximum) {
        WDLOG_ERROR("*** CEnginePDPCommon::WriteConfigExclusionItems() - Trying to write more exclusion items than "
                    "max. dwExclusionCount=%lu, dwMaxCount=%lu",
                    static_cast<unsigned long>(head.dwExclusionCount), static_cast<unsigned long>(maximum));
        return WDLT_E_INVALID_ARGUMENT;
    }
    PrivacyDBHeader header{};
    std::string searchData;
    {
        BufferedFile old;
        if (!operation.did("OpenDatabaseToRead", OpenDatabaseToRead(old)) ||
            !operation.did("GetPrivacyDBHeader", GetPrivacyDBHeader(old, header)) ||
            !operation.did(
                "GetBinaryData",
                GetBinaryData(old, std::uint64_t{header.dwSearchDataCount} * sizeof(PrivacySearchRecord), searchData)))
            return operation.status();
    }
    PrivacyControlData control{};
    if (!operation.did("GetPrivacyControlData", m_settings.GetPrivacyControlData(control)))
        return operation.status();
    std::string oldHeader(reinterpret_cast<const char*>(&header), sizeof header);
    const void* const items = static_cast<const char*>(buffer) + sizeof head;
    PrivacySwap swap(*this, control);
    const bool isWritten = operation.did("BackupDatabase", swap.BackupDatabase()) &&
                           operation.did("OpenTempFileToWrite", swap.OpenTempFileToWrite()) &&
                           operation.did("WritePrivacyDBHeader", WriteBinaryData(swap.file(), oldHeader)) &&
                           operation.did("WriteBinaryData", WriteBinaryData(swap.file(), searchData)) &&
                           operation.did("WritePrivacyExclusionPart",
                                         WritePrivacyExclusionPart(swap.file(), items, head.dwExclusionCount));
    return isWritten ? swap.replace(operation.name()) : operation.status();
}

std::int32_t CEnginePDPCommon::verify(const PrivacyViewItem* _viewData, std::int32_t count, std::uint32_t* _result) {
    PrivacyOperation operation("VerifyItems");
    if (_viewData == nullptr) {
        WDLOG_ERROR("*** CEnginePDPCommon::VerifyItems() - _viewData was invalid parameter...");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (_result == nullptr) {
        WDLOG_ERROR("*** CEnginePDPCommon::VerifyItems() - _result was invalid parameter...");
        return WDLT_E_INVALID_ARGUMENT;
    }
    PrivacyControlData control{};
    if (!operation.did("GetPrivacyControlData", m_settings.GetPrivacyControlData(control)))
        return operation.status();
    StartedConverter converter;
    if (const std::int32_t status = converter.start(operation.name()); status != WDLT_OK)
        return status;
    for (std::int32_t i = 0; i < count; ++i) {
        Wiped<PrivacyViewItem> item;
        std::memcpy(&*item, _viewData + i, sizeof *item);
        const bool fails =
            item->szPrivacyData[0] != '\0' && PrivacySearchData::VerifyItem(converter, control.dwDefaultCharSet,
                                                                            control.dwCharSetEntry, *item) != WDLT_OK;
        const auto result = static_cast<std::uint32_t>(fails ? WDLT_E_ITEM_CONVERSION : WDLT_OK);
        std::memcpy(_result + i, &result, sizeof result);
    }
    return WDLT_OK;
}

std::int32_t CEnginePDPCommon::GetMaxBufferSize(std::uint64_t dwReadSwitch, std::uint64_t& size) {
    DWORD itemEntryMax = 0;
    if (const std::int32_t status = m_settings.readItemEntryMax("GetMaxBufferSize", itemEntryMax); status != WDLT_OK)
        return status;
    if (itemEntryMax == 0) {
        WDLOG_ERROR("*** CEnginePDPCommon::GetMaxBufferSize() - dwRegValue was invalid value.");
        return WDLT_E_GENERAL;
    }
    size = 0; // that of the exclusions is known only to the file
    if (dwReadSwitch == WDLT_CONFIG_PRIVACY_ITEMS)
        size = viewBytes(itemEntryMax);
    if (dwReadSwitch == WDLT_CONFIG_PRIVACY_SEARCH) {
        DWORD charSets = 0;
        if (const std::int32_t status = m_settings.readCharSetEntry("GetMaxBufferSize", charSets); status != WDLT_OK)
            return status;
        size = searchBytes(std::uint64_t{GetCharSetCount(charSets)} * itemEntryMax);
    }
    return WDLT_OK;
}

std::unique_ptr<CGMutex> CEnginePDPCommon::CheckGlobalMutex() {
    DWORD retryCount = 0;
    if (const std::int32_t status = m_settings.readNumber("AccessRetryCount", retryCount); status != WDLT_OK) {
        WDLOG_ERROR("*** CEnginePDPCommon::CheckGlobalMutex() - Failed to ReadValue() for retry access count of DB. "
                    "lRtnSts=%ld",
                    static_cast<long>(status));
        return nullptr;
    }
    DWORD waitTime = 0;
    if (const std::int32_t status = m_settings.readNumber("AccessWaitTime", waitTime); status != WDLT_OK) {
        WDLOG_ERROR("*** CEnginePDPCommon::CheckGlobalMutex() - Failed to ReadValue() for retry access wait time of "
                    "DB. lRtnSts=%ld",
                    static_cast<long>(status));
        return nullptr;
    }
    const DWORD attempts = retryCount + 1; // wraps to 0 for the largest count
    for (DWORD attempt = 0; attempt < attempts; ++attempt) {
        if (attempt != 0)
            Sleep(waitTime);
        if (CGMutex::CheckGMutex(kPresenceMutex) != CGMutex::kNobody)
            continue;
        std::unique_ptr<CGMutex> mutex(new (std::nothrow) CGMutex);
        if (mutex == nullptr) {
            WDLOG_ERROR("*** CEnginePDPCommon::CheckGlobalMutex() - pGlobalMutextObject was invalid handle.");
            return nullptr;
        }
        if (mutex->CreateGMutexEx(kPresenceMutex) == CGMutex::kCreated)
            return mutex;
        WDLOG_ERROR("*** CEnginePDPCommon::CheckGlobalMutex() - Failed to pRtnGMutexObject->CreateGMutexEx() and "
                    "retry.");
    }
    return nullptr;
}

std::int32_t CEnginePDPCommon::OpenDatabaseToRead(BufferedFile& file) {
    std::string path;
    if (const std::int32_t status = m_settings.findDatabase(path); status != WDLT_OK)
        return status;
    HANDLE opened = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        WDLOG_ERROR("*** CEnginePDPCommon::OpenDatabaseToRead() - Failed to CreateFile(). LastError[0x%08x]",
                    GetLastError());
        return WDLT_E_GENERAL;
    }
    const bool isAtStart = SetFilePointer(opened, 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER;
    if (!isAtStart)
        WDLOG_ERROR("*** CEnginePDPCommon::OpenDatabaseToRead() - Failed to SetFilePointer(). LastError[0x%08x]",
                    GetLastError());
    file.open(opened);
    if (isAtStart)
        return WDLT_OK;
    file.close();
    return WDLT_E_GENERAL;
}

// The privacy database: whatever a file holds, each reader stays inside the file and its lists, finding the exclusions
// and the raw copy terminate, and exclusions that were read can be written and read back the same.
//
// The first byte selects how the others become the file: as they are, after a header, or as exclusions that are
// enciphered here, so that the fuzzer gets past the cipher.
#include "Enciphered.h"
#include "FuzzFolder.h"
#include "PrivacyDatabase.h"

#include <platform/win32.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>

namespace {

using fuzz::demand;
using fuzz::folder;
using wdlt::BufferedFile;
using wdlt::PrivacyDatabase;

constexpr DWORD kMostRecords = 992;
constexpr DWORD kMostExclusions = 100;

void append(std::string& file, DWORD number) {
    file.append(reinterpret_cast<const char*>(&number), sizeof number);
}

std::string headerOf(DWORD records) {
    PrivacyDBHeader header{};
    std::memcpy(header.szMagic, "__PRIVACY_DATA_PROTECTION__", sizeof header.szMagic);
    std::memcpy(header.szVersion, "01.01.00", sizeof header.szVersion);
    header.dwSearchDataCount = records;
    return {reinterpret_cast<const char*>(&header), sizeof header};
}

std::string fileOf(unsigned form, std::string_view input) {
    if (form == 0 || input.empty())
        return std::string(input);
    const auto count = static_cast<unsigned char>(input.front());
    input.remove_prefix(1);
    if (form == 1)
        return headerOf(count).append(input);
    // Each line of the input becomes an exclusion.
    std::string file = headerOf(0);
    append(file, count);
    append(file, 0);
    while (!input.empty()) {
        const std::string_view text = input.substr(0, input.find('\n'));
        input.remove_prefix(std::min(input.size(), text.size() + 1));
        const std::string message = enciphered(wdlt::kPrivacyKey, text);
        append(file, count);
        append(file, WDLT_PRIVACY_EXCLUSION_TARGET);
        append(file, static_cast<DWORD>(message.size()));
        file += message;
    }
    return file;
}

void open(BufferedFile& file, const std::string& name, DWORD access, DWORD disposition) {
    HANDLE opened = CreateFileA(name.c_str(), access, FILE_SHARE_READ, nullptr, disposition, 0, nullptr);
    demand(opened != INVALID_HANDLE_VALUE);
    file.open(opened);
}

using Exclusions = wdlt::WipedVector<PrivacyExclusionItem>;

// Reads the exclusion header and records at the file's current position.
std::int32_t readExclusions(BufferedFile& file, Exclusions& items) {
    wdlt::PrivacyDBExclusionHeader head{};
    const std::int32_t status = PrivacyDatabase::GetPrivacyDBExclusionHeader(file, head);
    if (status != WDLT_OK || head.dwExclusionCount > kMostExclusions)
        return WDLT_E_GENERAL;
    const std::int32_t read = PrivacyDatabase::GetPrivacyExclusionItem(file, head.dwExclusionCount, items);
    demand(items.size() <= head.dwExclusionCount && (read == WDLT_OK) == (items.size() == head.dwExclusionCount));
    for (const PrivacyExclusionItem& item : items)
        demand(std::memchr(item.szText, '\0', sizeof item.szText) != nullptr);
    return read;
}

void writeAndReadBack(const Exclusions& items) {
    const bool areWritable = std::ranges::all_of(items, [](const PrivacyExclusionItem& item) {
        return item.szText[0] != '\0' && item.dwScanTarget == WDLT_PRIVACY_EXCLUSION_TARGET;
    });
    const std::string name = folder() / "written";
    BufferedFile file;
    open(file, name, GENERIC_WRITE, CREATE_ALWAYS);
    const auto count = static_cast<DWORD>(items.size());
    const std::int32_t status = PrivacyDatabase::WritePrivacyExclusionPart(file, items.data(), count);
    demand(status == (areWritable ? WDLT_OK : WDLT_E_INVALID_ARGUMENT));
    open(file, name, GENERIC_READ, OPEN_EXISTING);
    Exclusions again;
    if (status != WDLT_OK) {
        demand(std::filesystem::is_empty(name)); // nothing is written unless all are valid
        return;
    }
    demand(readExclusions(file, again) == WDLT_OK && again.size() == items.size());
    for (std::size_t i = 0; i < items.size(); ++i)
        demand(again[i].dwExclusionId == items[i].dwExclusionId && std::strcmp(again[i].szText, items[i].szText) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string content = fileOf(data[0] % 3, {reinterpret_cast<const char*>(data) + 1, size - 1});
    const std::string name = folder() / "read";
    fuzz::put(name, content);

    PrivacyDBHeader header{};
    BufferedFile file;
    open(file, name, GENERIC_READ, OPEN_EXISTING);
    if (PrivacyDatabase::GetPrivacyDBHeader(file, header) != WDLT_OK)
        return 0;
    const std::uint64_t searchBytes = std::uint64_t{header.dwSearchDataCount} * sizeof(PrivacySearchRecord);
    const bool isWhole = content.size() - sizeof header >= searchBytes;
    if (header.dwSearchDataCount <= kMostRecords) {
        wdlt::WipedVector<PrivacySearchRecord> records;
        const std::int32_t status = PrivacyDatabase::GetPrivacySearchData(file, header.dwSearchDataCount, records);
        demand(records.size() <= header.dwSearchDataCount && (isWhole || status != WDLT_OK));
        for (const PrivacySearchRecord& record : records)
            demand(record.byPattern[PrivacyDatabase::kPatternBytes] == 0);
    }

    open(file, name, GENERIC_READ, OPEN_EXISTING);
    demand(PrivacyDatabase::GetPrivacyDBHeader(file, header) == WDLT_OK);
    std::string raw;
    demand((PrivacyDatabase::GetBinaryData(file, searchBytes, raw) == WDLT_OK) == isWhole);
    demand(!isWhole || raw == content.substr(sizeof header, searchBytes));

    open(file, name, GENERIC_READ, OPEN_EXISTING);
    demand(PrivacyDatabase::GetPrivacyDBHeader(file, header) == WDLT_OK);
    demand(PrivacyDatabase::SkipPrivacySearchData(file, header) == WDLT_OK);
    Exclusions items;
    if (readExclusions(file, items) == WDLT_OK) {
        demand(isWhole);
        writeAndReadBack(items);
    }
    return 0;
}

// The address cache: whatever its file holds, a read stays inside the file and the caller's buffer and returns the
// file's records, and what was read can be written and reads back the same.
//
// The first byte selects how the others become the file: as they are, after a valid header, or as records that are
// enciphered here.
#include "Enciphered.h"
#include "FuzzFolder.h"
#include "ManagerMailCommon.h"
#include "RegistryIO.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr std::uint32_t kMaximum = 20;
constexpr std::size_t kRecordBytes = sizeof(MailAddressRecord);

std::string cacheFile() {
    static const std::string file = [] {
        const std::string folder = fuzz::folder().string() + "/";
        tree::setText("", "InstallPath", folder);
        tree::setText("", "TempPath", folder);
        tree::setText("Scan\\Common\\MailManager\\config", "AddressCacheFile", "cache");
        tree::setNumber("Scan\\Common\\MailManager\\config", "MaxAddressCacheCount", kMaximum);
        return folder + "cache";
    }();
    return file;
}

std::string bytesOf(std::uint32_t number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}
std::string headerOf(std::uint32_t count) {
    return "Wardlet:MailManager:AddressCache" + bytesOf(1) + bytesOf(count);
}

std::string sealed(std::string record) {
    record.resize(kRecordBytes);
    return record.substr(0, 4) + enciphered(wdlt::kAddressCacheKey, std::string_view(record).substr(4, 255));
}

std::string fileOf(unsigned form, std::string_view input) {
    if (form == 0 || input.empty())
        return std::string(input);
    std::string file = headerOf(static_cast<std::uint8_t>(input.front()));
    input.remove_prefix(1);
    if (form == 1)
        return file.append(input);
    while (!input.empty()) {
        file += sealed(std::string(input.substr(0, kRecordBytes)));
        input.remove_prefix(std::min(input.size(), kRecordBytes));
    }
    return file;
}

CManagerMailCommon mailManager() {
    return {{WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_INPUT_NONE}, std::make_unique<CRegistryIO>()};
}

// As a caller reads it: the size first, then into a buffer of exactly that size.
std::int32_t read(std::unique_ptr<std::uint8_t[]>& buffer, std::uint64_t& size) {
    CManagerMailCommon manager = mailManager();
    size = 0;
    std::int32_t status = manager.ReadConfig(WDLT_CONFIG_MAIL_ADDRESS_CACHE, nullptr, &size);
    if (status != WDLT_E_BUFFER_SIZE)
        return status;
    fuzz::demand(size >= 4 && size <= 4 + kMaximum * kRecordBytes && (size - 4) % kRecordBytes == 0);
    buffer = std::make_unique<std::uint8_t[]>(size);
    return manager.ReadConfig(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.get(), &size);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string file = fileOf(data[0] % 3, {reinterpret_cast<const char*>(data) + 1, size - 1});
    fuzz::put(cacheFile(), file);
    std::unique_ptr<std::uint8_t[]> buffer;
    std::uint64_t bytes = 0;
    if (const std::int32_t status = read(buffer, bytes); status != WDLT_OK) {
        fuzz::demand(status == WDLT_E_FILE || status == WDLT_E_GENERAL);
        return 0;
    }
    std::uint32_t count = 0;
    std::memcpy(&count, buffer.get(), sizeof count);
    fuzz::demand(bytes == 4 + count * kRecordBytes && file.size() >= 40 + count * kRecordBytes);
    std::string written = headerOf(count);
    for (std::uint32_t i = 0; i < count; ++i)
        written += sealed({reinterpret_cast<const char*>(buffer.get()) + 4 + i * kRecordBytes, kRecordBytes});
    fuzz::demand(count == kMaximum || file.starts_with(written));

    CManagerMailCommon manager = mailManager();
    fuzz::demand(manager.WriteConfig(WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.get(), bytes) == WDLT_OK);
    std::unique_ptr<std::uint8_t[]> again;
    std::uint64_t bytesAgain = 0;
    fuzz::demand(read(again, bytesAgain) == WDLT_OK && bytesAgain == bytes);
    fuzz::demand(std::memcmp(again.get(), buffer.get(), bytes) == 0);
    return 0;
}

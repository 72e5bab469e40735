#include "Handlers.h"

#include "Display.h"
#include "Installation.h"
#include "LibraryStatus.h"
#include "Numbers.h"
#include "OneState.h"
#include "RegistryKey.h"
#include "Suggestion.h"
#include "ToolError.h"
#include "Utf.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <set>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

struct Item {
    std::uint32_t scan;
    std::uint32_t input;
    const char* name;
};

constexpr Item kItems[] = {
    {WDLT_SCAN_VIRUS, WDLT_INPUT_NONE, "Virus"},
    {WDLT_SCAN_VIRUS, WDLT_INPUT_HTTP_FILE_SCAN, "HttpFileScan"},
    {WDLT_SCAN_HTTP_IMAGE_FILTER, WDLT_INPUT_NONE, "HTTPImageFilter"},
    {WDLT_SCAN_URL_FILTER, WDLT_INPUT_NONE, "URLFilter"},
    {WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE, "PrivacyProtection"},
    {WDLT_SCAN_MASS_MAIL, WDLT_INPUT_NONE, "MassMailMonitor"},
    {WDLT_SCAN_HTTP_CLEANER, WDLT_INPUT_NONE, "HTTPCleaner"},
    {WDLT_SCAN_ANTI_SPAM, WDLT_INPUT_NONE, "AntiSpam"},
    {WDLT_SCAN_HOST_FILTER, WDLT_INPUT_NONE, "HostFilter"},
    {WDLT_SCAN_NETWORK_EVENTS, WDLT_INPUT_NONE, "NetworkEvents"},
    {WDLT_SCAN_SAL, WDLT_INPUT_NONE, "SAL"},
    {WDLT_SCAN_TEST_ENGINE, WDLT_INPUT_NONE, "TestEngine"},
    {WDLT_SCAN_MAIL_MANAGER, WDLT_INPUT_NONE, "MailManager"},
    {WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_NONE, "HttpManager"},
    {WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_HTTPS_FILTER, "HttpsFilter"},
    {WDLT_SCAN_IM_MANAGER, WDLT_INPUT_NONE, "ImManager"},
    {WDLT_SCAN_TEST_MANAGER, WDLT_INPUT_NONE, "TestManager"},
};

/* Asks for the size first, and tries again when the record has grown meanwhile. */
std::int32_t readSystemRecord(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                              std::vector<unsigned char>& bytes) {
    constexpr int kAttempts = 4;
    std::int32_t status = WDLT_E_BUFFER_SIZE;
    std::uint64_t size = 0;
    for (int i = 0; i < kAttempts && status == WDLT_E_BUFFER_SIZE; ++i) {
        bytes.resize(size);
        status = WdltReadConfigEx(WDLT_PROTOCOL_SYSTEM + protocol, scan, input, WDLT_CONFIG_DEFAULT,
                                  bytes.empty() ? nullptr : bytes.data(), &size);
    }
    return status;
}

bool isOnOf(const Handler& handler, const Item& item) {
    const bool isHttp = handler.head.type == WDLT_PROTOCOL_HTTP;
    // The handler's mask has one bit for both virus scans of HTTP, and none for the HTTPS filter.
    if (item.input != WDLT_INPUT_NONE || (isHttp && item.scan == WDLT_SCAN_VIRUS))
        return isHttp && itemIsOn(handler.head.type, item.scan, item.input).value_or(false);
    return (handler.head.dependentScanEngine & item.scan) != 0;
}

} // namespace

std::string Handler::name() const {
    return displayNarrow({head.name, strnlen(head.name, sizeof head.name)});
}

std::optional<Handler> handlerOf(std::uint32_t protocol) {
    std::vector<unsigned char> bytes;
    checkStatus(readSystemRecord(protocol, WDLT_SCAN_NONE, WDLT_INPUT_NONE, bytes),
                fmt::format("the handler of protocol {}", protocol));
    Handler handler;
    if (bytes.size() < sizeof handler.head)
        return std::nullopt;
    std::memcpy(&handler.head, bytes.data(), sizeof handler.head);
    handler.head.redirects = nullptr;
    // A protocol without a handler reads as an empty record.
    if (handler.head.name[0] == '\0')
        return std::nullopt;
    handler.redirects.resize((bytes.size() - sizeof handler.head) / sizeof(WdchSystemRedirect));
    if (!handler.redirects.empty())
        std::memcpy(handler.redirects.data(), bytes.data() + sizeof handler.head,
                    handler.redirects.size() * sizeof(WdchSystemRedirect));
    return handler;
}

namespace {

/* The keys tell which types to ask for: a call for each of the sixteen takes its time. */
std::vector<Handler> readHandlers() {
    std::set<std::uint32_t> types;
    bool isTold = true; // of every key
    for (const HandlerKey& key : allHandlerKeys()) {
        types.insert(key.type);
        isTold = isTold && key.type != 0;
    }
    std::vector<Handler> handlers;
    for (std::uint32_t type = 1; type <= WDLT_MAX_HANDLERS; ++type)
        if (auto handler = isTold && !types.contains(type) ? std::nullopt : handlerOf(type))
            handlers.push_back(std::move(*handler));
    return handlers;
}

} // namespace

/* A document asks for them again and again. */
std::vector<Handler> allHandlers() {
    static std::optional<std::uint64_t> generation; // what `handlers` were read in
    static std::vector<Handler> handlers;
    if (const std::uint64_t now = registryGeneration(); now != generation) {
        handlers = readHandlers();
        generation = now;
    }
    return handlers;
}

Handler findHandler(std::string_view nameOrType) {
    auto handlers = allHandlers();
    if (const auto type = parseNumber(nameOrType))
        if (const auto found = std::ranges::find(handlers, *type, [](const Handler& each) { return each.head.type; });
            found != handlers.end())
            return *found;
    return findNamed(handlers, nameOrType, "handler", &Handler::name);
}

std::optional<bool> itemIsOn(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    std::vector<unsigned char> bytes;
    std::uint32_t enable = 0; // the first field of every item's record
    if (readSystemRecord(protocol, scan, input, bytes) != WDLT_OK || bytes.size() < sizeof enable)
        return std::nullopt;
    std::memcpy(&enable, bytes.data(), sizeof enable);
    // For the HTTPS filter it is a set of flags.
    return (input == WDLT_INPUT_HTTPS_FILTER ? enable & WDLT_HTTPS_SCAN : enable) != 0;
}

std::string itemName(std::uint32_t scan, std::uint32_t input) {
    const auto* const item = std::find_if(std::begin(kItems), std::end(kItems),
                                          [&](const Item& each) { return each.scan == scan && each.input == input; });
    return item != std::end(kItems) ? item->name : fmt::format("{:#x}", scan);
}

std::vector<std::string> itemsThatAreOn(const Handler& handler, std::uint32_t mask) {
    std::vector<std::string> names;
    for (const Item& item : kItems)
        if ((item.scan & mask) != 0 && isOnOf(handler, item))
            names.emplace_back(item.name);
    return names;
}

} // namespace wdlt

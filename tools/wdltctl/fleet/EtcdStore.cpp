#include "Etcd.h"

#include "Numbers.h"
#include "ToolError.h"

#include <algorithm>
#include <cctype>

namespace wdlt {
namespace {

constexpr std::string_view kPort = "2379";

[[noreturn]] void refuse(std::string_view text, const std::string& why) {
    throw ToolError(ExitStatus::Usage, '"' + std::string(text) + "\" isn't a store's address: " + why +
                                           " (etcd://HOST[:PORT][,HOST[:PORT]...]/PREFIX, or etcds:// with TLS)");
}

bool isHost(std::string_view host) {
    const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    const std::string_view name = isBracketed ? host.substr(1, host.size() - 2) : host;
    const std::string_view marks = isBracketed ? ":." : "-._";
    return !name.empty() && std::ranges::all_of(name, [&](char c) {
        const auto letter = static_cast<unsigned char>(c);
        return marks.find(c) != marks.npos || (isBracketed ? std::isxdigit(letter) : std::isalnum(letter)) != 0;
    });
}

std::string endpointOf(std::string_view text, std::string_view scheme, std::string_view authority) {
    const auto colon = authority.rfind(':');
    const bool hasPort = colon != authority.npos && !authority.ends_with(']');
    const std::string_view host = authority.substr(0, hasPort ? colon : authority.npos);
    const std::string_view port = hasPort ? authority.substr(colon + 1) : kPort;
    if (!isHost(host))
        refuse(text, "\"" + std::string(host) + "\" is no host");
    const bool isDecimal = std::ranges::all_of(port, [](unsigned char c) { return std::isdigit(c) != 0; });
    if (const auto number = parseNumber(port); !isDecimal || number.value_or(0) < 1 || *number > 0xFFFF)
        refuse(text, "\"" + std::string(port) + "\" is no port");
    return std::string(scheme).append(host).append(":").append(port);
}

} // namespace

EtcdStore etcdStoreOf(std::string_view text) {
    const auto colon = text.find("://");
    const std::string_view kind = text.substr(0, colon);
    if (colon == text.npos || (kind != "etcd" && kind != "etcds"))
        refuse(text, "it doesn't begin with etcd://");
    const std::string_view rest = text.substr(colon + 3);
    const auto slash = std::min(rest.find('/'), rest.size());
    EtcdStore store;
    for (std::string_view hosts = rest.substr(0, slash);;) {
        const auto comma = std::min(hosts.find(','), hosts.size());
        store.endpoints.push_back(endpointOf(text, kind == "etcds" ? "https://" : "http://", hosts.substr(0, comma)));
        if (comma == hosts.size())
            break;
        hosts.remove_prefix(comma + 1);
    }
    store.prefix = rest.substr(slash);
    while (store.prefix.ends_with('/'))
        store.prefix.pop_back();
    if (store.prefix.empty())
        refuse(text, "it has no prefix");
    if (!std::ranges::all_of(store.prefix, [](unsigned char c) { return std::isgraph(c) != 0; }))
        refuse(text, "its prefix has what isn't printable");
    return store;
}

} // namespace wdlt

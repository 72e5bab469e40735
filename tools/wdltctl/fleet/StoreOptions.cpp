#include "StoreOptions.h"

#include "ToolError.h"

#include <CLI/CLI.hpp>

namespace wdlt {

void addStore(CLI::App& verb, StoreArguments& arguments) {
    verb.add_option("STORE", arguments.address, "etcd://HOST[:PORT][,HOST[:PORT]...]/PREFIX; etcds:// with TLS")
        ->required();
    verb.add_option("--token-file", arguments.access.tokenFile, "A file with the token that the store wants");
    verb.add_option("--ca", arguments.access.tls.caFile,
                    "Certificates that the store's is signed by; without it, the "
                    "system's");
    auto* cert = verb.add_option("--cert", arguments.access.tls.certFile, "This machine's certificate");
    auto* key = verb.add_option("--key", arguments.access.tls.keyFile, "and its key");
    cert->needs(key);
    key->needs(cert);
}

void withStore(const std::function<void()>& body) {
    try {
        body();
    } catch (const StoreAway& error) {
        throw ToolError(ExitStatus::Unknown, error.what());
    } catch (const StoreRefused& error) {
        throw ToolError(ExitStatus::Unknown, error.what());
    }
}

} // namespace wdlt

/* The operands and options of verbs that use a fleet's store. */
#pragma once

#include "Etcd.h"

#include <functional>
#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace wdlt {

struct StoreArguments {
    std::string address;
    EtcdAccess access;
};
/* They are filled in when the command line is understood. */
void addStore(CLI::App& verb, StoreArguments& arguments);

/* Runs `body`; that a store is away or refuses is a ToolError behind it. */
void withStore(const std::function<void()>& body);

} // namespace wdlt

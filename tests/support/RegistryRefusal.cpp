#include "RegistryRefusal.h"
#include "RegistryHooks.h"

#include <mutex>
#include <utility>

namespace registry_faults {
std::atomic<int> enumeration{0};
std::atomic<int> commit{0};
std::atomic<int> write{0}; // calls until the one that fails
} // namespace registry_faults

namespace {

std::atomic<bool> g_acts{false}; // whether g_act is called after reads
std::function<void(const std::string&)> g_act;

std::mutex g_mutex;
std::string g_call; // guarded by g_mutex, like the next
std::string g_name;

} // namespace

namespace registry_hooks {

bool isRefused(std::string_view call, const std::string& path) {
    const std::lock_guard lock(g_mutex);
    return call == g_call && path.substr(path.rfind('\\') + 1) == g_name;
}

bool isFailingWrite() {
    return registry_faults::write > 0 && --registry_faults::write == 0;
}

void afterRead(const char* name) {
    if (g_acts.exchange(false)) {
        g_act(name);
        g_acts = true;
    }
}

} // namespace registry_hooks

RegistryRefusal::RegistryRefusal(const char* call, std::string name) {
    const std::lock_guard lock(g_mutex);
    g_call = call;
    g_name = std::move(name);
}

RegistryRefusal::~RegistryRefusal() {
    const std::lock_guard lock(g_mutex);
    g_call.clear();
}

AfterEachRead::AfterEachRead(std::function<void(const std::string&)> act) {
    g_act = std::move(act);
    g_acts = true;
}

AfterEachRead::~AfterEachRead() {
    g_acts = false;
}

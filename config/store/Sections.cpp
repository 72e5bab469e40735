#include "Sections.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <utility>

namespace wdlt {
namespace {

constexpr std::size_t kMostKeys = 256; // a system with all handlers and features has some 120 that are asked for
constexpr std::size_t kPlaces = 8;

constinit std::array<std::atomic<Sections*>, kPlaces> places{};

} // namespace

const ReadableKey& Sections::keyOf(DWORD protocol, DWORD scan, DWORD input, const char* section) {
    const Address address(protocol, scan, input, section);
    if (WdIsRegistryState(&m_state) == FALSE)
        forget();
    else if (const auto kept = m_keys.find(address); kept != m_keys.end())
        return kept->second;
    for (int tries = 1;; ++tries) {
        bool isTorn = false; // a handler that moved during the search may have been missed
        const ReadableKey& key = find(address, isTorn);
        if (!isTorn || tries == kTries)
            return key;
        forget();
    }
}

// The state is taken back meanwhile: whatever ends this early leaves nothing proved.
const ReadableKey& Sections::find(const Address& address, bool& isTorn) {
    WdRegistryState before = std::exchange(m_state, {});
    const bool hasState = before.opening != 0 || WdGetRegistryState(&before) != FALSE;
    if (m_keys.size() == kMostKeys) {
        m_keys.clear();
        m_handlers = {};
    }
    const auto& [protocol, scan, input, section] = address;
    const ReadableKey& key =
        m_keys.try_emplace(address, composeSection(m_handlers, protocol, scan, input, section.c_str())).first->second;
    WdRegistryState after{};
    isTorn = hasState && (WdGetRegistryState(&after) == FALSE || after != before);
    if (hasState && !isTorn && m_handlers.isSure() && key.isSure())
        m_state = before;
    return key;
}

void Sections::forget() {
    m_state = {};
    m_keys.clear();
    m_handlers = {};
}

LentSections::LentSections() {
    for (auto& place : places)
        if (!m_sections && place.load(std::memory_order_relaxed) != nullptr)
            m_sections.reset(place.exchange(nullptr, std::memory_order_acquire));
    if (!m_sections)
        m_sections = std::make_unique<Sections>();
}

LentSections::~LentSections() {
    for (auto& place : places) {
        Sections* none = nullptr;
        if (place.compare_exchange_strong(none, m_sections.get(), std::memory_order_release,
                                          std::memory_order_relaxed)) {
            static_cast<void>(m_sections.release());
            return;
        }
    }
}

} // namespace wdlt

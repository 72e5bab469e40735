#include "CompiledUrls.h"

#include <algorithm>
#include <new>
#include <utility>

namespace wdlt {

constinit std::atomic<CompiledUrls::List*> CompiledUrls::s_kept[kKept]{};

CompiledUrls::CompiledUrls(std::span<const std::uint8_t> content) {
    for (auto& place : s_kept) {
        m_list.reset(place.exchange(nullptr));
        if (m_list != nullptr && m_list->bytes.size() <= content.size() &&
            std::ranges::equal(m_list->bytes, content.first(m_list->bytes.size())))
            return;
        m_list.reset(place.exchange(m_list.release()));
    }
    m_list.reset();
}

CompiledUrls::~CompiledUrls() {
    for (auto& place : s_kept)
        if (m_list != nullptr)
            m_list.reset(place.exchange(m_list.release()));
}

void CompiledUrls::keep(std::span<const std::uint8_t> bytes, CMatchingUrlRecord&& record) {
    m_hasEnded = m_hasEnded || bytes.empty();
    if (m_hasEnded)
        return;
    try {
        if (m_list == nullptr)
            m_list = std::make_unique<List>();
        m_list->records.push_back(std::move(record));
        m_list->bytes.insert(m_list->bytes.end(), bytes.begin(), bytes.end());
    } catch (const std::bad_alloc&) {
        m_list.reset();
        m_hasEnded = true;
    }
}

} // namespace wdlt

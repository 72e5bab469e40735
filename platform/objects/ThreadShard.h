// Spreads what all threads count or take from over several shards, so that threads rarely contend. A thread keeps its
// shard for life; which one it is means nothing.
#pragma once

#include <atomic>
#include <cstddef>

namespace wd {

inline constexpr std::size_t kShards = 16;
inline constexpr std::size_t kCacheLineBytes = 64;

inline std::size_t threadShard() {
    static constinit std::atomic<std::size_t> threads{0};
    static constinit thread_local std::size_t own = 0;
    if (own == 0)
        own = threads.fetch_add(1, std::memory_order_relaxed) + 1;
    return own % kShards;
}

} // namespace wd

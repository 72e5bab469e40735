// A table of open handles. A handle is a number (generation, slot, mark), checked at each use and never dereferenced,
// so that closed or made-up handles and those of another table are recognised. Lock-free; any thread. A child of a fork
// goes on with its parent's handles. A slot's memory is never freed; a slot in use by another thread at the moment of a
// fork is lost to the child.
#pragma once

#include "ThreadShard.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace wd {

// One table per Payload, which is what a handle stands for. It is written before its handle is open and only read while
// it is; `closed()` is called on it when the handle is closed and no call uses it any more.
template <class Payload, std::uint8_t kMark>
class HandleTable {
    // state: generation (32 bits) | open (1) | number of uses (31). Whoever makes it "not open, no use" frees the slot;
    // a slot gets its next generation when it is opened again.
    struct alignas(kCacheLineBytes) Slot {
        std::atomic<std::uint64_t> state{0};
        std::atomic<std::uint32_t> nextFree{0};
        std::uint32_t index = 0;
        Payload payload;
    };

  public:
    // Keeps a handle's slot from being used again while a call works with it.
    class Use {
      public:
        Use() = default;
        ~Use() {
            if (m_slot != nullptr)
                release(*m_slot);
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        // False for a handle that isn't open. At most once per Use.
        bool acquire(const void* handle) {
            std::uint64_t generation = 0;
            Slot* slot = slotOf(handle, generation);
            if (slot == nullptr)
                return false;
            std::uint64_t state = slot->state.load(std::memory_order_relaxed);
            do {
                if (!isOpen(state, generation) || (state & kUses) == kUses)
                    return false;
            } while (!slot->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire,
                                                        std::memory_order_relaxed));
            m_slot = slot;
            return true;
        }
        bool isAcquired() const { return m_slot != nullptr; }
        const Payload& payload() const { return m_slot->payload; }

      private:
        Slot* m_slot = nullptr;
    };

    // `fill(payload)` sets what the handle stands for. Null when memory or the table's range is exhausted.
    template <class Fill>
    static void* open(Fill&& fill) {
        Slot* slot = popFree();
        if (slot == nullptr)
            slot = makeSlot();
        if (slot == nullptr)
            return nullptr;
        fill(slot->payload);
        std::uint64_t generation = (slot->state.load(std::memory_order_relaxed) >> kGenerationShift) + 1;
        if (generation > 0xFFFFFFFF)
            generation = 1;
        slot->state.store(generation << kGenerationShift | kOpen, std::memory_order_release);
        return handleOf(*slot, generation);
    }

    // False for a handle that isn't open.
    static bool close(const void* handle) {
        std::uint64_t generation = 0;
        Slot* slot = slotOf(handle, generation);
        if (slot == nullptr)
            return false;
        std::uint64_t state = slot->state.load(std::memory_order_relaxed);
        do {
            if (!isOpen(state, generation))
                return false;
        } while (!slot->state.compare_exchange_weak(state, state & ~kOpen, std::memory_order_acq_rel,
                                                    std::memory_order_relaxed));
        if ((state & kUses) == 0)
            setFree(*slot);
        return true;
    }

    // Calls `visit(payload)` for each open handle; the slot isn't reused meanwhile.
    template <class Visit>
    static void forEach(Visit&& visit) {
        const std::uint32_t made = s_made.load(std::memory_order_acquire);
        for (std::uint32_t index = 0; index < made; ++index) {
            const Slot* slot = slotAt(index);
            Use use;
            if (slot != nullptr &&
                use.acquire(handleOf(*slot, slot->state.load(std::memory_order_relaxed) >> kGenerationShift)))
                visit(use.payload());
        }
    }

  private:
    // A handle: generation << 32 | slot index << 8 | mark. Callers may use its two lowest bits as they like. Its lower
    // half never equals a predefined key's, which end in 00 to 60.
    static_assert((kMark & 3) == 0 && kMark > 0x60);
    static constexpr std::uint64_t kCheckedMark = 0xFC;
    static constexpr std::uint64_t kOpen = std::uint64_t{1} << 31;
    static constexpr std::uint64_t kUses = kOpen - 1;
    static constexpr unsigned kGenerationShift = 32;

    static constexpr std::uint32_t kChunkSlots = 32;
    static constexpr std::uint32_t kChunks = 65536;
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    using Chunk = std::array<Slot, kChunkSlots>;

    // Stacks of free slots. The top holds a count of pops (against the ABA problem) and a slot's index.
    struct alignas(kCacheLineBytes) FreeStack {
        std::atomic<std::uint64_t> top{kNone};
    };

    static void* handleOf(const Slot& slot, std::uint64_t generation) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number that is never followed
        return reinterpret_cast<void*>(generation << kGenerationShift | std::uint64_t{slot.index} << 8 | kMark);
    }

    static Slot* slotAt(std::uint32_t index) {
        if (index >= kChunks * kChunkSlots)
            return nullptr;
        Chunk* chunk = s_chunks[index / kChunkSlots].load(std::memory_order_acquire);
        return chunk == nullptr ? nullptr : &(*chunk)[index % kChunkSlots];
    }

    static Slot* slotOf(const void* handle, std::uint64_t& generation) {
        const auto number = reinterpret_cast<std::uintptr_t>(handle);
        generation = number >> kGenerationShift;
        if ((number & kCheckedMark) != kMark || generation == 0)
            return nullptr;
        return slotAt(static_cast<std::uint32_t>(number & 0xFFFFFFFF) >> 8);
    }

    static bool isOpen(std::uint64_t state, std::uint64_t generation) {
        return state >> kGenerationShift == generation && (state & kOpen) != 0;
    }

    static void release(Slot& slot) {
        const std::uint64_t before = slot.state.fetch_sub(1, std::memory_order_acq_rel);
        if ((before & (kOpen | kUses)) == 1)
            setFree(slot);
    }

    static void setFree(Slot& slot) {
        slot.payload.closed();
        auto& freeTop = s_free[threadShard()].top;
        std::uint64_t top = freeTop.load(std::memory_order_relaxed);
        do {
            slot.nextFree.store(static_cast<std::uint32_t>(top), std::memory_order_relaxed);
        } while (!freeTop.compare_exchange_weak(top, (top & ~std::uint64_t{kNone}) | slot.index,
                                                std::memory_order_release, std::memory_order_relaxed));
    }

    static Slot* popFrom(std::atomic<std::uint64_t>& freeTop) {
        std::uint64_t top = freeTop.load(std::memory_order_acquire);
        for (;;) {
            const auto index = static_cast<std::uint32_t>(top);
            if (index == kNone)
                return nullptr;
            Slot* slot = slotAt(index);
            const std::uint64_t next = ((top >> 32) + 1) << 32 | slot->nextFree.load(std::memory_order_relaxed);
            if (freeTop.compare_exchange_weak(top, next, std::memory_order_acquire, std::memory_order_acquire))
                return slot;
        }
    }

    // Slots closed by other threads are on other stacks: all are tried before a new slot is made.
    static Slot* popFree() {
        const std::size_t start = threadShard();
        for (std::size_t i = 0; i < kShards; ++i)
            if (Slot* slot = popFrom(s_free[(start + i) % kShards].top))
                return slot;
        return nullptr;
    }

    static Slot* makeSlot() {
        const std::uint32_t index = s_made.fetch_add(1, std::memory_order_relaxed);
        if (index >= kChunks * kChunkSlots) {
            s_made.fetch_sub(1, std::memory_order_relaxed);
            return nullptr;
        }
        auto& place = s_chunks[index / kChunkSlots];
        if (place.load(std::memory_order_acquire) == nullptr) {
            std::unique_ptr<Chunk> made(new (std::nothrow) Chunk);
            Chunk* expected = nullptr;
            if (made != nullptr && place.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel))
                static_cast<void>(made.release());
        }
        Slot* slot = slotAt(index);
        if (slot != nullptr)
            slot->index = index;
        return slot;
    }

    static inline constinit std::array<std::atomic<Chunk*>, kChunks> s_chunks{};
    static inline constinit std::atomic<std::uint32_t> s_made{0};
    static inline constinit std::array<FreeStack, kShards> s_free{};
};

} // namespace wd

#include "RegistryHandles.h"

#include "ThreadShard.h"

#include <array>
#include <cstddef>
#include <memory>
#include <new>

namespace wd {

// state: generation (32 bits) | open (1) | number of uses (31). Who brings "not open, no use" about frees the slot; a
// slot gets its next generation when it is opened again. The key is written before that and only read afterwards.
struct alignas(kCacheLineBytes) HandleSlot {
    static constexpr std::size_t kInlinePath = 160; // longer paths need the heap

    std::atomic<std::uint64_t> state{0};
    std::atomic<std::uint32_t> nextFree{0};
    std::uint32_t index = 0;
    OpenKey key;
    std::string longPath;
    std::array<char, kInlinePath> path;
};

namespace {

// A handle: generation << 32 | slot index << 8 | mark. It is never a predefined key, whose upper half is 0.
constexpr std::uint64_t kMark = 0xA6;
constexpr std::uint64_t kOpen = std::uint64_t{1} << 31;
constexpr std::uint64_t kUses = kOpen - 1;
constexpr unsigned kGenerationShift = 32;

constexpr std::uint32_t kChunkSlots = 256;
constexpr std::uint32_t kChunks = 8192;
constexpr std::uint32_t kNone = ~std::uint32_t{0};

using Chunk = std::array<HandleSlot, kChunkSlots>;

constinit std::array<std::atomic<Chunk*>, kChunks> chunks{};
constinit std::atomic<std::uint32_t> slotsMade{0};

// Stacks of free slots. The top is a count of pops, against the same index coming back unnoticed, and the index.
struct alignas(kCacheLineBytes) FreeStack {
    std::atomic<std::uint64_t> top{kNone};
};
constinit std::array<FreeStack, kShards> freeStacks{};

HandleSlot* slotAt(std::uint32_t index) {
    if (index >= kChunks * kChunkSlots)
        return nullptr;
    Chunk* chunk = chunks[index / kChunkSlots].load(std::memory_order_acquire);
    return chunk == nullptr ? nullptr : &(*chunk)[index % kChunkSlots];
}

void pushFree(HandleSlot& slot) {
    auto& freeTop = freeStacks[threadShard()].top;
    std::uint64_t top = freeTop.load(std::memory_order_relaxed);
    do {
        slot.nextFree.store(static_cast<std::uint32_t>(top), std::memory_order_relaxed);
    } while (!freeTop.compare_exchange_weak(top, (top & ~std::uint64_t{kNone}) | slot.index, std::memory_order_release,
                                            std::memory_order_relaxed));
}

HandleSlot* popFrom(std::atomic<std::uint64_t>& freeTop) {
    std::uint64_t top = freeTop.load(std::memory_order_acquire);
    for (;;) {
        const auto index = static_cast<std::uint32_t>(top);
        if (index == kNone)
            return nullptr;
        HandleSlot* slot = slotAt(index);
        const std::uint64_t next = ((top >> 32) + 1) << 32 | slot->nextFree.load(std::memory_order_relaxed);
        if (freeTop.compare_exchange_weak(top, next, std::memory_order_acquire, std::memory_order_acquire))
            return slot;
    }
}

// Slots closed by other threads lie on other stacks: all are tried before a new slot is made.
HandleSlot* popFree() {
    const std::size_t start = threadShard();
    for (std::size_t i = 0; i < kShards; ++i)
        if (HandleSlot* slot = popFrom(freeStacks[(start + i) % kShards].top))
            return slot;
    return nullptr;
}

HandleSlot* makeSlot() {
    const std::uint32_t index = slotsMade.fetch_add(1, std::memory_order_relaxed);
    if (index >= kChunks * kChunkSlots) {
        slotsMade.fetch_sub(1, std::memory_order_relaxed);
        return nullptr;
    }
    auto& place = chunks[index / kChunkSlots];
    if (place.load(std::memory_order_acquire) == nullptr) {
        std::unique_ptr<Chunk> made(new (std::nothrow) Chunk);
        Chunk* expected = nullptr;
        if (made != nullptr && place.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel))
            static_cast<void>(made.release());
    }
    HandleSlot* slot = slotAt(index);
    if (slot != nullptr)
        slot->index = index;
    return slot;
}

HandleSlot* slotOf(HKEY handle, std::uint64_t& generation) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    generation = number >> kGenerationShift;
    if ((number & 0xFF) != kMark || generation == 0)
        return nullptr;
    return slotAt(static_cast<std::uint32_t>(number & 0xFFFFFFFF) >> 8);
}

bool isOpen(std::uint64_t state, std::uint64_t generation) {
    return state >> kGenerationShift == generation && (state & kOpen) != 0;
}

void release(HandleSlot& slot) {
    const std::uint64_t before = slot.state.fetch_sub(1, std::memory_order_acq_rel);
    if ((before & (kOpen | kUses)) == 1)
        pushFree(slot);
}

} // namespace

HandleUse::~HandleUse() {
    if (m_slot != nullptr)
        release(*m_slot);
}

bool HandleUse::acquire(HKEY handle) {
    std::uint64_t generation = 0;
    HandleSlot* slot = slotOf(handle, generation);
    if (slot == nullptr)
        return false;
    std::uint64_t state = slot->state.load(std::memory_order_relaxed);
    do {
        if (!isOpen(state, generation) || (state & kUses) == kUses)
            return false;
    } while (
        !slot->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire, std::memory_order_relaxed));
    m_slot = slot;
    return true;
}

const OpenKey& HandleUse::key() const {
    return m_slot->key;
}

HKEY openHandle(const OpenKey& key) {
    HandleSlot* slot = popFree();
    if (slot == nullptr)
        slot = makeSlot();
    if (slot == nullptr)
        return nullptr;
    slot->key = key;
    if (key.path.size() <= slot->path.size()) {
        key.path.copy(slot->path.data(), key.path.size());
        slot->key.path = {slot->path.data(), key.path.size()};
    } else {
        slot->longPath = key.path;
        slot->key.path = slot->longPath;
    }
    std::uint64_t generation = (slot->state.load(std::memory_order_relaxed) >> kGenerationShift) + 1;
    if (generation > 0xFFFFFFFF)
        generation = 1;
    slot->state.store(generation << kGenerationShift | kOpen, std::memory_order_release);
    return reinterpret_cast<HKEY>(generation << kGenerationShift | std::uint64_t{slot->index} << 8 | kMark);
}

bool closeHandle(HKEY handle) {
    std::uint64_t generation = 0;
    HandleSlot* slot = slotOf(handle, generation);
    if (slot == nullptr)
        return false;
    std::uint64_t state = slot->state.load(std::memory_order_relaxed);
    do {
        if (!isOpen(state, generation))
            return false;
    } while (!slot->state.compare_exchange_weak(state, state & ~kOpen, std::memory_order_acq_rel,
                                                std::memory_order_relaxed));
    if ((state & kUses) == 0)
        pushFree(*slot);
    return true;
}

} // namespace wd

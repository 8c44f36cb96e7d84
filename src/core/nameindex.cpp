// HashIndex: places by hash, and the hash of bytes.
#include "nameindex.h"

#include <cstring>

namespace {

constexpr std::size_t kFirstSlots = 16;

// An odd number without pattern in its bits: 2^64 divided by the golden ratio.
constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15u;

// The product carries each bit upwards only, so its upper half is brought down again.
std::uint64_t mixed(std::uint64_t value) {
    value *= kSpread;
    return value ^ (value >> 32);
}

} // namespace

std::uint32_t hashBytes(const void* bytes, std::size_t n, std::uint64_t seed) {
    const char* at = static_cast<const char*>(bytes);
    std::uint64_t hash = mixed(seed ^ n);
    std::uint64_t word = 0;
    for (; n >= sizeof(word); n -= sizeof(word), at += sizeof(word)) {
        std::memcpy(&word, at, sizeof(word));
        hash = mixed(hash ^ word);
    }
    word = 0;
    if (n > 0)
        std::memcpy(&word, at, n);
    // Twice, for a difference in the last bytes alone has reached only upper bits after the first time.
    return static_cast<std::uint32_t>(mixed(mixed(hash ^ word)));
}

void HashIndex::Add(std::uint32_t hash, int place) {
    if (2 * (used + 1) > slots.size())
        privGrow();
    privPut({hash, place});
    used++;
}

int HashIndex::Next(std::uint32_t hash, int* step) const {
    if (slots.empty())
        return -1;
    for (;;) {
        const Slot& slot = slots[(hash + static_cast<std::size_t>((*step)++)) & (slots.size() - 1)];
        if (slot.place < 0 || slot.hash == hash)
            return slot.place;
    }
}

void HashIndex::Clear() {
    slots.assign(slots.size(), Slot());
    used = 0;
}

void HashIndex::privGrow() {
    std::vector<Slot> old(slots.empty() ? kFirstSlots : 2 * slots.size());
    old.swap(slots);
    for (const Slot& slot : old) {
        if (slot.place >= 0)
            privPut(slot);
    }
}

void HashIndex::privPut(const Slot& slot) {
    std::size_t at = slot.hash & (slots.size() - 1);
    while (slots[at].place >= 0)
        at = (at + 1) & (slots.size() - 1);
    slots[at] = slot;
}

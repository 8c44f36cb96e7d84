// HashIndex, what makes a list of names quick to search: a table from hash values to places in a list that
// somebody else keeps. It owns its table and knows neither the list nor the names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Hash of n bytes, equal on every machine of one byte order. seed goes into the hash as if it stood in
/// front.
std::uint32_t hashBytes(const void* bytes, std::size_t n, std::uint64_t seed = 0);

/// Open addressing with linear steps, at most half full; places are never taken out one by one. A lookup
/// walks the places noted under a hash, mostly one, and compares the names itself:
///
///     int step = 0;
///     for (int i = index.Next(hash, &step); i >= 0; i = index.Next(hash, &step))
///         if (isAsked(list[i]))
///             return i;
///
/// For lists where the first of equal names counts, only the first one is added: that keeps every walk short,
/// however often a name occurs.
class HashIndex {
public:
    /// Notes place, 0 or more, under a hash. The table doubles as it fills, so that adding costs the same on
    /// average for every length.
    void Add(std::uint32_t hash, int place);

    /// @param step 0 for the first call of a walk, then what the call before left.
    /// @return the next place noted under the hash, -1 after the last.
    int Next(std::uint32_t hash, int* step) const;

    /// Forgets all places and keeps the room for as many.
    void Clear();

private:
    struct Slot {
        std::uint32_t hash = 0;
        int place = -1; // -1: empty
    };

    void privGrow();
    void privPut(const Slot& slot);

    std::vector<Slot> slots; // a power of two of them, or none
    std::size_t used = 0;    // slots that hold a place
};

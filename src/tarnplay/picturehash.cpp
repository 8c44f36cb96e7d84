// The 64-bit hash of pictures.
#include "picturehash.h"

#include <cstring>

namespace {

// The algorithm's five odd multipliers.
constexpr std::uint64_t kPrime1 = 0x9E3779B185EBCA87;
constexpr std::uint64_t kPrime2 = 0xC2B2AE3D27D4EB4F;
constexpr std::uint64_t kPrime3 = 0x165667B19E3779F9;
constexpr std::uint64_t kPrime4 = 0x85EBCA77C2B2AE63;
constexpr std::uint64_t kPrime5 = 0x27D4EB2F165667C5;

constexpr std::size_t kLanes = 4; // independent sums, so that a processor works on all at once
constexpr std::size_t kStripe = kLanes * 8;

std::uint64_t turned(std::uint64_t value, int bits) {
    return value << bits | value >> (64 - bits);
}

// Little-endian like every machine that the engine runs on.
template <typename Word>
std::uint64_t wordAt(const unsigned char* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint64_t added(std::uint64_t lane, std::uint64_t word) {
    return turned(lane + word * kPrime2, 31) * kPrime1;
}

// Takes the stripes off the front of the bytes.
std::uint64_t hashStripes(const unsigned char*& bytes, const unsigned char* end) {
    std::uint64_t lanes[kLanes] = {kPrime1 + kPrime2, kPrime2, 0, 0 - kPrime1};
    for (; static_cast<std::size_t>(end - bytes) >= kStripe; bytes += kStripe)
        for (std::size_t i = 0; i < kLanes; ++i)
            lanes[i] = added(lanes[i], wordAt<std::uint64_t>(bytes + i * 8));
    std::uint64_t hash =
        turned(lanes[0], 1) + turned(lanes[1], 7) + turned(lanes[2], 12) + turned(lanes[3], 18);
    for (const std::uint64_t lane : lanes)
        hash = (hash ^ added(0, lane)) * kPrime1 + kPrime4;
    return hash;
}

std::uint64_t hashRest(std::uint64_t hash, const unsigned char* bytes, const unsigned char* end) {
    for (; end - bytes >= 8; bytes += 8)
        hash = turned(hash ^ added(0, wordAt<std::uint64_t>(bytes)), 27) * kPrime1 + kPrime4;
    if (end - bytes >= 4) {
        hash = turned(hash ^ wordAt<std::uint32_t>(bytes) * kPrime1, 23) * kPrime2 + kPrime3;
        bytes += 4;
    }
    for (; bytes < end; ++bytes)
        hash = turned(hash ^ *bytes * kPrime5, 11) * kPrime1;
    return hash;
}

} // namespace

std::uint64_t PictureHash(const unsigned char* bytes, std::size_t count) {
    const unsigned char* const end = bytes + count;
    std::uint64_t hash = count >= kStripe ? hashStripes(bytes, end) : kPrime5;
    hash = hashRest(hash + count, bytes, end);
    hash = (hash ^ hash >> 33) * kPrime2;
    hash = (hash ^ hash >> 29) * kPrime3;
    return hash ^ hash >> 32;
}

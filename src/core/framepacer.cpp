// Frame deadlines in whole nanoseconds.
#include "framepacer.h"

#include "seams.h"

#include <algorithm>

namespace {

constexpr std::int64_t kSecond = 1000000000; // ns
constexpr float kFarthest = 1e9f;            // seconds; keeps any float within the range of nanoseconds

float toSeconds(std::int64_t nanoseconds) {
    return static_cast<float>(static_cast<double>(nanoseconds) / kSecond);
}

// Not a number reads as long past: nobody waits for it.
std::int64_t toNanoseconds(float seconds) {
    const float bounded = std::min(std::max(-kFarthest, seconds), kFarthest);
    return static_cast<std::int64_t>(static_cast<double>(bounded) * kSecond);
}

} // namespace

FramePacer::FramePacer(std::chrono::nanoseconds elapsed)
    : replaced(nullptr), start(std::chrono::steady_clock::now() - elapsed), base(0), frames(0), frameRate(0),
      mirror(0) {}

std::int64_t FramePacer::Now() const {
    if (replaced)
        return replaced->Now();
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
}

void FramePacer::WaitUntil(std::int64_t deadline) const {
    if (replaced)
        return replaced->WaitUntil(deadline);
    while (Now() < deadline) {
    }
}

float FramePacer::Seconds() const {
    return toSeconds(Now());
}

std::int64_t FramePacer::NextDeadline(float* seconds, int rate) {
    // The exact deadline goes on where only the rate has changed, the float where someone has set it.
    const bool moved = *seconds != mirror;
    if (moved || rate != frameRate) {
        base = moved ? toNanoseconds(*seconds) : base + (frameRate > 0 ? frames * kSecond / frameRate : 0);
        frames = 0;
        frameRate = rate;
    }
    const std::int64_t deadline = base + ++frames * kSecond / rate;
    *seconds = mirror = toSeconds(deadline);
    return deadline;
}

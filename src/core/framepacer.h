// FramePacer: the frame limiter's clock and deadlines in whole nanoseconds. A float of seconds is too coarse
// for that: it steps by 2 us after 16 s and by 0.25 ms after an hour, and adding 1/60 to it over and over
// drifts.
#pragma once

#include <chrono>
#include <cstdint>

class FrameClock;

/// Deadlines of a constant frame rate, counted from a first one, beside a float that others read.
class FramePacer {
public:
    /// @param elapsed what the clock shows already
    explicit FramePacer(std::chrono::nanoseconds elapsed);

    /// Takes the time from another clock from now on; null for the system's. It stays the caller's.
    void SetClock(FrameClock* other) { replaced = other; }

    /// @return nanoseconds on the clock
    std::int64_t Now() const;

    /// A busy wait: sleeping would give the processor back but wake up late.
    void WaitUntil(std::int64_t deadline) const;

    /// @return clock seconds, rounded once
    float Seconds() const;

    /// Moves on to the next frame's deadline, 1/rate s after the one before, and writes it to *seconds. When
    /// *seconds holds anything but the last deadline, or the rate differs, the count starts over from there.
    /// @param rate frames per second, at least 1
    /// @return the deadline in nanoseconds
    std::int64_t NextDeadline(float* seconds, int rate);

private:
    FrameClock* replaced;                        // not owned; null for the system's clock
    std::chrono::steady_clock::time_point start; // when the clock showed 0
    std::int64_t base;                           // the deadline from which frames are counted, ns
    std::int64_t frames;                         // since base
    int frameRate;                               // of these frames; 0 before the first
    float mirror;                                // what the last call wrote
};

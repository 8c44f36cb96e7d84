// The fixed clock of tests: time moves by one frame in each frame and at no other moment, and whatever else
// differs from run to run is held still with it.
#pragma once

#include "seams.h"

#include <memory>

class Feature;
class Player;

/// A clock that nobody waits for: it stands still until a frame waits for its deadline, and is there at once.
class VirtualClock : public FrameClock {
public:
    std::int64_t Now() override { return now; }
    void WaitUntil(std::int64_t deadline) override { now = deadline > now ? deadline : now; }
    /// @return as Now, in seconds
    double Seconds() const { return static_cast<double>(now) / 1e9; }

private:
    std::int64_t now = 0; // ns
};

/// @return the feature that gives the player a VirtualClock where the options ask for the fixed clock, and
/// the script that clock as os.clock, os.time and os.date, tables that are iterated in the same order in each
/// run, and random numbers that start at the options' seed. Call before the player runs.
std::unique_ptr<Feature> MakeRepeatable(Player& player);

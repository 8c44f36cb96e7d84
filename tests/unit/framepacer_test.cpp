// Frame deadlines: exact over days, and where the float that mirrors them has been set from outside.
#include "framepacer.h"

#include <cmath>
#include <gtest/gtest.h>

TEST(FramePacer, DeadlinesNeitherDriftNorLosePrecision) {
    FramePacer pacer(std::chrono::nanoseconds(0));
    float seconds = 0;
    for (std::int64_t frame = 1; frame <= 60 * 60 * 24; ++frame) { // a day
        const std::int64_t deadline = pacer.NextDeadline(&seconds, 60);
        ASSERT_EQ(deadline, frame * 1000000000 / 60);
        ASSERT_EQ(seconds, static_cast<float>(static_cast<double>(deadline) / 1e9));
    }
}

TEST(FramePacer, GoesOnFromAChangedFloat) {
    FramePacer pacer(std::chrono::seconds(7));
    EXPECT_GE(pacer.Now(), 7000000000);
    float seconds = -100;
    EXPECT_EQ(pacer.NextDeadline(&seconds, 4), -99750000000);
    seconds = 2.5f;
    EXPECT_EQ(pacer.NextDeadline(&seconds, 4), 2750000000);
    EXPECT_EQ(pacer.NextDeadline(&seconds, 10), 2850000000);
    for (float odd : {NAN, -INFINITY, -1e30f}) {
        seconds = odd;
        EXPECT_LT(pacer.NextDeadline(&seconds, 60), 0) << odd;
    }
}

// Noise against a plain restatement and against recorded values; random numbers, rounding and clamping.
#include "numericfuncs.h"

#include "avx2.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace {

const float infinity = std::numeric_limits<float>::infinity();
const float notANumber = std::numeric_limits<float>::quiet_NaN();

float asFloat(double x) {
    return static_cast<float>(x);
}

/// The noise as a walk from the cell's origin along the three axes, longest offset first.
float plainNoise(const int* table, const double* point) {
    const double skew = asFloat((point[0] + point[1] + point[2]) * 0.33333334f);
    int cell[3], order[3] = {0, 1, 2}, step[3] = {0, 0, 0};
    for (int n = 0; n < 3; n++)
        cell[n] = SimplexNoise::fastfloor(asFloat(point[n] + skew));
    const double unskew = asFloat((double(cell[0]) + cell[1] + cell[2]) * 0.16666667f);
    const float offset[3] = {asFloat(point[0] - cell[0] + unskew), asFloat(point[1] - cell[1] + unskew),
                             asFloat(point[2] - cell[2] + unskew)};
    std::stable_sort(order, order + 3, [&offset](int a, int b) { return offset[a] > offset[b]; });
    float sum = 0.0f;
    for (int visit = 0; visit < 4; step[order[visit++ % 3]]++) {
        double d[3], falloff = 0.6;
        int hash = 0;
        for (int n = 0; n < 3; n++) {
            d[n] = asFloat(double(offset[n]) - step[n] + asFloat(visit * 0.16666667f));
            falloff -= d[n] * d[n];
        }
        for (int B = 0, index = 0; B < 8; B++, index = 0) {
            for (int n = B; n < B + 3; n++)
                index = index * 2 + ((cell[n % 3] + step[n % 3]) >> B & 1);
            hash += table[index];
        }
        const bool b5 = hash & 32, b4 = hash & 16, b3 = hash & 8, b2 = hash & 4;
        const int c = hash & 3, first = c == 1 ? 0 : c == 2 ? 1 : 2;
        const double p = (b5 == b3 ? -1 : 1) * d[first], q = (b5 == b4 ? -1 : 1) * d[(first + 1) % 3],
                     r = (b5 != (b4 != b3) ? -1 : 1) * d[(first + 2) % 3],
                     t2 = std::pow(asFloat(falloff), 2.0);
        sum += falloff < 0 ? 0.0f : asFloat(8 * t2 * t2 * (p + (c == 0 ? q + r : b2 ? r : q)));
    }
    return sum;
}

} // namespace

TEST(SimplexNoise, TableComesFromTheSeed) {
    const std::vector<std::pair<float, std::vector<int>>> cases = {
        {0.0f, {0, 40, 10, 45, 140, 50, 220, 0}},         {2.0f, {208, 194, 100, 64, 160, 55, 221, 28}},
        {-1.0f, {-104, -37, -35, 35, 129, 47, 219, -14}}, {notANumber, std::vector<int>(8, 0)},
        {infinity, std::vector<int>(8, INT_MAX % 500)},
    };
    for (const auto& [seed, table] : cases) {
        SimplexNoise noise(seed);
        EXPECT_EQ(std::vector<int>(noise.bitTable, noise.bitTable + 8), table) << seed;
    }
}

TEST(SimplexNoise, EqualsItsPlainRestatementInEveryForm) {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> number(-1, 1);
    for (int i = 0; i < 60000; i++) {
        SimplexNoise noise(std::floor(1000 * number(random))), plain = noise;
        double point[3];
        for (double& coordinate : point) // a third on grid points and diagonals, where comparisons tie
            coordinate = i % 3 == 0   ? std::round(8 * number(random)) / 2
                         : i % 3 == 1 ? asFloat(std::pow(20.0f, float(i % 7)) * number(random))
                                      : std::ldexp(number(random), int(random() % 160) - 150);
        const float x = asFloat(point[0]), y = asFloat(point[1]), z = asFloat(point[2]);
        const float value = noise.Noise(x, y, z);
        avx2InUse = false;
        const float plainValue = plain.Noise(x, y, z);
        avx2InUse = hasAvx2();
        ASSERT_EQ(value, plainNoise(noise.bitTable, point)) << i;
        ASSERT_EQ(std::memcmp(&value, &plainValue, sizeof(float)), 0) << i;
        ASSERT_EQ(std::memcmp(&noise, &plain, sizeof(noise)), 0) << "fields, " << i;
    }
}

TEST(SimplexNoise, KeepsItsRecordedValues) {
    const float recorded[][5] = {
        // seed, x, y, z, value
        {42, 0.9f, -4.2f, 11.1f, -0.0631895661f},      {0, 1.25f, -2.5f, 7.75f, 0.100960702f},
        {0, -13.1f, 0.3f, 2.9f, 0.136161715f},         {1, 0.1f, 0.2f, 0.3f, -0.0634074062f},
        {-7, 100.7f, 50.2f, -3.3f, -0.0449318327f},    {10, 0, 0, 0.25f, -0.166937619f},
        {777.5f, -0.6f, -0.7f, -0.8f, 0.00840813853f},
    };
    for (const auto& r : recorded) {
        SimplexNoise noise(r[0]);
        EXPECT_EQ(noise.Noise(r[1], r[2], r[3]), r[4]) << r[0];
    }
}

TEST(SimplexNoise, TakesAnyNumber) {
    SimplexNoise noise(0.0f);
    const float numbers[] = {0, 1e9f, -3e9f, 3e38f, -3.4e38f, infinity, -infinity, notANumber};
    for (int i = 0; i < 512; i++)
        EXPECT_LE(std::fabs(noise.Noise(numbers[i % 8], numbers[i / 8 % 8], numbers[i / 64])), 1.0f) << i;
    const std::pair<float, int> floors[] = {{1.5f, 1}, {-1.5f, -2},     {0, -1},          {-2, -3},
                                            {2, 2},    {3e9f, INT_MAX}, {-3e9f, INT_MIN}, {notANumber, 0}};
    for (const auto& [x, floor] : floors)
        EXPECT_EQ(SimplexNoise::fastfloor(x), floor) << x;
}

TEST(RandomNumbers, StayInTheirRangesAndRepeat) {
    RNG unseeded(false), timed(true);
    EXPECT_TRUE(timed.seeded && !unseeded.seeded);
    const int first = unseeded.NextInt(0, 32767), second = RandDraw();
    timed.Seed(0); // the one generator
    EXPECT_TRUE(RandDraw() == first && timed.NextFloat(0, 32768) == static_cast<float>(second));
    int least = INT_MAX, most = 0;
    for (int i = 0; i < 50000; i++) {
        const int draw = RandDraw(), die = RandInt(-1, 1);
        least = std::min(least, draw);
        most = std::max(most, draw);
        const float far = RandFloat(1e6f, 1e6f + 1); // floats lie 1/16 apart there
        ASSERT_TRUE(die >= -1 && die <= 1 && far >= 1e6f && far < 1e6f + 1);
    }
    EXPECT_TRUE(least >= 0 && least < 100 && most > 32667 && most <= 32767) << least << " " << most;
    EXPECT_TRUE(RandInt(3, 2) == 3 && RandInt(INT_MAX, INT_MIN) == INT_MAX);
}

TEST(Numbers, RoundAndClamp) {
    EXPECT_TRUE(clampi(5, 0, 3) == 3 && clampi(-1, 0, 3) == 0 && std::isnan(clampf(notANumber, 0, 1)));
    EXPECT_TRUE(RoundSnap(2.5) == 3 && RoundSnap(-2.5) == -2 && RoundSnap(-0.4) == 0);
    EXPECT_TRUE(RoundSnap(1e300) == INT_MAX && RoundSnap(-1e300) == INT_MIN);
    for (const auto& [n, power] :
         {std::pair(-5, 1), {1, 1}, {5, 8}, {1024, 1024}, {1 << 29, 1 << 29}, {INT_MAX, 1 << 30}})
        EXPECT_EQ(NextPowerOfTwo(n), power) << n;
}

// Seedable simplex noise, random numbers, rounding and clamping.
// Nothing is owned; the random functions share the process's one generator.
#include "numericfuncs.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <ctime>

namespace {

// Single-precision thirds and sixths, as the stored sums that they scale.
const float third = 0.33333334f;
const float sixth = 0.16666667f;

// Grid indices far out wrap around: what matters of them is their low bits.
int wrappingSum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

struct SeedFactor {
    double scale, shift;
};

const SeedFactor seedFactors[8] = {{104, 0},    {77, 40},  {45.2, 10}, {9.911, 45},
                                   {10.1, 140}, {2.7, 50}, {0.5, 220}, {14, 0}};

} // namespace

// SimplexNoise

SimplexNoise::SimplexNoise(float seed) : cell(), corner(), offset(), skew(0.0f), bitTable() {
    SetSeed(seed);
}

float SimplexNoise::Noise(float x, float y, float z) {
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
        return 0.0f;
    const float point[3] = {x, y, z};
    skew = static_cast<float>((static_cast<double>(x) + y + z) * third);
    double cellSum = 0.0;
    for (int n = 0; n < 3; n++) {
        cell[n] = fastfloor(static_cast<float>(static_cast<double>(point[n]) + skew));
        cellSum += cell[n];
    }
    skew = static_cast<float>(cellSum * sixth);
    for (int n = 0; n < 3; n++) {
        offset[n] = static_cast<float>(static_cast<double>(point[n]) - cell[n] + skew);
        corner[n] = 0;
    }
    const float u = offset[0], v = offset[1], w = offset[2];
    const int hi = u >= w ? (u >= v ? 0 : 1) : (v >= w ? 1 : 2);
    const int lo = u < w ? (u < v ? 0 : 1) : (v < w ? 1 : 2);
    // One statement each: every k() starts from the corner that the one before left behind.
    float sum = k(hi);
    sum += k(3 - hi - lo);
    sum += k(lo);
    sum += k(0);
    return sum;
}

void SimplexNoise::SetSeed(float seed) {
    for (int n = 0; n < 8; n++)
        bitTable[n] = TruncToInt(seed * seedFactors[n].scale + seedFactors[n].shift) % 500;
}

int SimplexNoise::fastfloor(float x) {
    return x > 0.0f ? TruncToInt(x) : TruncToInt(std::trunc(static_cast<double>(x)) - 1.0);
}

float SimplexNoise::k(int a) {
    skew = static_cast<float>((static_cast<double>(corner[0]) + corner[1] + corner[2]) * sixth);
    float d[3]; // from the corner to the point
    int at[3];
    for (int n = 0; n < 3; n++) {
        d[n] = static_cast<float>(static_cast<double>(offset[n]) - corner[n] + skew);
        at[n] = wrappingSum(cell[n], corner[n]);
    }
    const double x = d[0], y = d[1], z = d[2];
    const float t = static_cast<float>(0.6 - x * x - y * y - z * z);
    const int h = shuffle(at[0], at[1], at[2]);
    if (a >= 0 && a < 3)
        corner[a]++;
    if (t < 0.0f)
        return 0.0f;
    const int b5 = b(h, 5), b4 = b(h, 4), b3 = b(h, 3), b2 = b(h, 2), c = h & 3;
    double p = c == 1 ? x : c == 2 ? y : z;
    double q = c == 1 ? y : c == 2 ? z : x;
    double r = c == 1 ? z : c == 2 ? x : y;
    p = b5 == b3 ? -p : p;
    q = b5 == b4 ? -q : q;
    r = b5 != (b4 ^ b3) ? -r : r;
    const double t2 = static_cast<double>(t) * t;
    return static_cast<float>(8.0 * t2 * t2 * (p + (c == 0 ? q + r : (b2 == 0 ? q : r))));
}

int SimplexNoise::shuffle(int i, int j, int k) const {
    return b(i, j, k, 0) + b(j, k, i, 1) + b(k, i, j, 2) + b(i, j, k, 3) + b(j, k, i, 4) + b(k, i, j, 5) +
           b(i, j, k, 6) + b(j, k, i, 7);
}

int SimplexNoise::b(int i, int j, int k, int B) const {
    return bitTable[b(i, B) * 4 + b(j, B) * 2 + b(k, B)];
}

int SimplexNoise::b(int N, int B) {
    return (N >> (B & 31)) & 1;
}

// Random numbers

int RandDraw() {
    // The upper bits where the platform gives more than 15: weak generators repeat their lower ones soonest.
    return static_cast<int>(static_cast<unsigned>(rand()) / (static_cast<unsigned>(RAND_MAX) / 32768u + 1u));
}

int RandInt(int lo, int hi) {
    const long long range = static_cast<long long>(hi) + 1 - lo;
    return range > 0 ? lo + static_cast<int>(RandDraw() % range) : lo;
}

float RandFloat(float lo, float hi) {
    const float drawn =
        static_cast<float>(RandDraw() / 32768.0 * (static_cast<double>(hi) - lo) + static_cast<double>(lo));
    // Where floats lie far apart the uppermost steps round to hi itself.
    return lo < hi && drawn >= hi ? std::nextafter(hi, lo) : drawn;
}

RNG::RNG(bool seedNow) : seeded(false) {
    if (seedNow)
        Seed(static_cast<int>(time(nullptr) % 512) * 777);
}

void RNG::Seed(int s) {
    srand(static_cast<unsigned>(s));
    seeded = true;
}

int RNG::NextInt(int lo, int hi) {
    if (!seeded)
        Seed(0);
    return RandInt(lo, hi);
}

float RNG::NextFloat(float lo, float hi) {
    if (!seeded)
        Seed(0);
    return RandFloat(lo, hi);
}

// Rounding and clamping

int clampi(int v, int lo, int hi) {
    return v < lo ? lo : v > hi ? hi : v;
}

float clampf(float v, float lo, float hi) {
    return v < lo ? lo : v > hi ? hi : v;
}

int TruncToInt(double x) {
    if (std::isnan(x))
        return 0;
    if (x <= INT_MIN)
        return INT_MIN;
    return x >= INT_MAX ? INT_MAX : static_cast<int>(x);
}

int RoundSnap(double x) {
    return TruncToInt(x + 0.5);
}

int NextPowerOfTwo(int n) {
    const int largest = 1 << 30;
    int power = 1;
    while (power < n && power < largest)
        power *= 2;
    return power;
}

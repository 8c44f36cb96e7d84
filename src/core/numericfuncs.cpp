// Random numbers, rounding and clamping.
// Nothing is owned; the random functions share the process's one generator.
#include "numericfuncs.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <ctime>

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

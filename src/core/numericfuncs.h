// Seedable simplex noise, random numbers from the process-wide generator, and rounding and clamping.
// Nothing owns memory. A noise object is one caller's; the generator is shared by the whole process.
#pragma once

/// Three-dimensional simplex noise after Ken Perlin's compact form ("Noise hardware", 2001): space is cut
/// into tetrahedra by skewing the integer grid; each of the four corners around a point adds a falling-off
/// gradient whose direction comes from a hash of the corner's grid cell. The hash picks bits of the cell's
/// indices and looks them up in a table of 8 numbers, which here comes from the seed. The same seed and point
/// always give the same value.
///
/// The working values are fields and are overwritten by every call. They are rounded to float where they are
/// stored; between stores all arithmetic is in double precision.
class SimplexNoise {
public:
    int cell[3];     // skewed grid cell (i, j, k) of the point
    int corner[3];   // offset of the corner being visited from the cell, counted up by k()
    float offset[3]; // (u, v, w): the point relative to the cell's origin, unskewed
    float skew;      // scratch: last skewing or unskewing sum
    int bitTable[8]; // hash table, from the seed; entries may be negative

    explicit SimplexNoise(float seed);

    /// The noise at a point, about -1 to 1; 0 where a coordinate is not finite.
    float Noise(float x, float y, float z);
    /// Computes the hash table from a seed; NaN gives a table of zeros.
    void SetSeed(float seed);
    /// The integer part for x > 0, otherwise the integer part minus 1: 0 and negative whole numbers go one
    /// below their floor. Noise counts on this rule.
    static int fastfloor(float x);
    /// The contribution of the current corner; then moves the corner one step along axis a (0 to 2).
    float k(int a);
    /// Hash of a grid point; only its low six bits are used.
    int shuffle(int i, int j, int k) const;
    /// Table entry at the index made of bit B of i, j and k, i's being the highest.
    int b(int i, int j, int k, int B) const;
    /// Bit B (modulo 32) of N.
    static int b(int N, int B);
};

/// One draw from the standard library's generator, folded to 0 to 32767 whatever the platform's range:
/// everything in the engine that wants random numbers draws here.
int RandDraw();

/// A random whole number from lo to hi, both included; lo if hi is below lo. One draw: of a range above 32768
/// numbers only the first 32768 come up.
int RandInt(int lo, int hi);

/// A random number from lo on, below hi, in 32768 steps.
float RandFloat(float lo, float hi);

/// A seeded face of the generator. There is only one generator: seeding any RNG reseeds it for everyone.
class RNG {
public:
    bool seeded; // false: the first draw seeds with 0

    /// With seedNow seeds from the calendar time, one of 512 sequences.
    explicit RNG(bool seedNow);
    void Seed(int s);
    /// As RandInt.
    int NextInt(int lo, int hi);
    /// As RandFloat.
    float NextFloat(float lo, float hi);
};

/// v kept between lo and hi.
int clampi(int v, int lo, int hi);

/// v kept between lo and hi; NaN comes back unchanged.
float clampf(float v, float lo, float hi);

/// x truncated toward zero, for any x: what lies outside the range of int becomes the nearest int, NaN
/// becomes 0.
int TruncToInt(double x);

/// x + 0.5 truncated toward zero: 2.5 gives 3, -2.5 gives -2. Out of range as TruncToInt.
int RoundSnap(double x);

/// The smallest power of two not below n: 1 for n of 0 or less, and 2^30 (the largest that fits) above 2^30.
int NextPowerOfTwo(int n);

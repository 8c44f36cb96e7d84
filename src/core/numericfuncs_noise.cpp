// Seedable simplex noise: the walk over four corners, and the same walk with the corners side by side in
// vector lanes. Nothing is owned.
#include "numericfuncs.h"

#include "avx2.h"

#include <cmath>
#include <cstddef>

#if TARN_AVX2
#include <immintrin.h>
#endif

namespace {

// Single-precision thirds and sixths, as the stored sums that they scale.
constexpr float third = 0.33333334f;
constexpr float sixth = 0.16666667f;

// Grid indices far out wrap around: what matters of them is their low bits.
int wrappingSum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

struct SeedFactor {
    double scale, shift;
};

constexpr SeedFactor seedFactors[8] = {{104, 0},    {77, 40},  {45.2, 10}, {9.911, 45},
                                       {10.1, 140}, {2.7, 50}, {0.5, 220}, {14, 0}};

} // namespace

// The corners side by side

#if TARN_AVX2
namespace {

/// One number of each corner in the order of the walk: the cell's origin, then one, two and three steps on.
struct CornerNumbers {
    __m256d x, y, z;
};

/// Which corners lie one step on along an axis: all bits of their lanes set.
struct CornerSteps {
    __m256i x, y, z;
};

// Of coordinates: below it every sum of indices is a float.
constexpr float vectorRange = 1 << 21;

// The skewing sum of a corner so many steps from the cell's origin, as it is stored.
constexpr float cornerSkew(int steps) {
    return static_cast<float>(steps * static_cast<double>(sixth));
}

// As stored: rounded to float's 24 bits, ties to even, on the integers that hold the doubles, which takes
// less time than converting to float and back. Numbers too small for a normal float must not need any
// rounding.
AVX2 inline __m256d stored(__m256d v) {
    const __m256i bits = _mm256_castpd_si256(v);
    const __m256i odd = _mm256_and_si256(_mm256_srli_epi64(bits, 29), _mm256_set1_epi64x(1));
    const __m256i up = _mm256_add_epi64(_mm256_add_epi64(bits, _mm256_set1_epi64x(0x0fffffff)), odd);
    return _mm256_castsi256_pd(_mm256_and_si256(up, _mm256_set1_epi64x(~0x1fffffffll)));
}

AVX2 inline __m256i notBelow(__m256d a, __m256d b) {
    return _mm256_castpd_si256(_mm256_cmp_pd(a, b, _CMP_GE_OQ));
}

// The walk goes along the axis of the largest offset first. Masks count as -1: on the left stands, but for a
// constant, minus the number of axes that go before this one, on the right so many steps as a corner is away.
AVX2 inline CornerSteps walk(const CornerNumbers& offset) {
    const __m256i xy = notBelow(offset.x, offset.y);
    const __m256i xz = notBelow(offset.x, offset.z);
    const __m256i yz = notBelow(offset.y, offset.z);
    return {_mm256_cmpgt_epi64(_mm256_setr_epi64x(-2, -1, 0, 1), _mm256_add_epi64(xy, xz)),
            _mm256_cmpgt_epi64(_mm256_sub_epi64(xy, yz), _mm256_setr_epi64x(1, 0, -1, -2)),
            _mm256_cmpgt_epi64(_mm256_add_epi64(xz, yz), _mm256_setr_epi64x(0, -1, -2, -3))};
}

// The low eight bits of the corners' indices along an axis, one bit to a byte: that byte of `weights` where
// the bit is set. Byte 4 * axis of both halves of `cells` is the cell's.
AVX2 inline __m256i spreadBits(__m256i cells, int axis, __m256i steps, long long weights) {
    const __m256i bits = _mm256_set1_epi64x(static_cast<long long>(0x8040201008040201));
    const __m256i cell = _mm256_shuffle_epi8(cells, _mm256_set1_epi8(static_cast<char>(4 * axis)));
    const __m256i picked = _mm256_and_si256(_mm256_sub_epi8(cell, steps), bits);
    return _mm256_and_si256(_mm256_cmpeq_epi8(picked, bits), _mm256_set1_epi64x(weights));
}

// The hashes of the corners. Byte B of a corner's lane looks up bit B, the axes taking turns as the table's
// highest bit. The low bytes of the table's entries are enough for the low bits of their sum.
AVX2 inline __m256i hashes(const int* bitTable, __m128i cell, const CornerSteps& steps) {
    const __m256i cells = _mm256_broadcastsi128_si256(cell);
    const __m256i x = spreadBits(cells, 0, steps.x, 0x0104020104020104);
    const __m256i y = spreadBits(cells, 1, steps.y, 0x0402010402010402);
    const __m256i z = spreadBits(cells, 2, steps.z, 0x0201040201040201);
    const __m256i entries = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bitTable));
    const __m256i bytes = _mm256_shuffle_epi8(entries, _mm256_set1_epi32(0x0c080400));
    const __m256i table = _mm256_permutevar8x32_epi32(bytes, _mm256_set1_epi64x(0x0000000400000000));
    const __m256i index = _mm256_or_si256(_mm256_or_si256(x, y), z);
    return _mm256_sad_epu8(_mm256_shuffle_epi8(table, index), _mm256_setzero_si256());
}

// Where `choice`'s lanes have their sign bit set, b's lanes, elsewhere a's.
AVX2 inline __m256d choose(__m256d a, __m256d b, __m256i choice) {
    return _mm256_blendv_pd(a, b, _mm256_castsi256_pd(choice));
}

/// What the low six bits of a hash make of one coordinate: bit 63 - hash of `left` is set where it is left
/// out, of `flipped` where its sign changes.
struct GradientBits {
    unsigned long long left, flipped;
};

// Of each gradient two coordinates count, of a quarter all three.
constexpr GradientBits makeGradientBits(int axis) {
    GradientBits made{};
    for (int hash = 0; hash < 64; hash++) {
        const bool b5 = hash & 32, b4 = hash & 16, b3 = hash & 8, b2 = hash & 4;
        const int c = hash & 3, first = c == 1 ? 0 : c == 2 ? 1 : 2;
        const int role = (axis - first + 3) % 3; // p, q, r
        const bool flipped = role == 0 ? b5 == b3 : role == 1 ? b5 == b4 : b5 != (b4 != b3);
        const bool left = c != 0 && role == (b2 ? 1 : 2);
        made.left |= (left ? 1ull : 0ull) << (63 - hash);
        made.flipped |= (flipped ? 1ull : 0ull) << (63 - hash);
    }
    return made;
}

constexpr GradientBits gradientBits[3] = {makeGradientBits(0), makeGradientBits(1), makeGradientBits(2)};

// A coordinate as it counts in the gradients; left out it is -0, which changes no sum.
AVX2 inline __m256d slope(__m256d v, __m256i h, const GradientBits& bits) {
    const __m256d minus0 = _mm256_set1_pd(-0.0);
    const __m256i flipped = _mm256_sllv_epi64(_mm256_set1_epi64x(static_cast<long long>(bits.flipped)), h);
    const __m256i left = _mm256_sllv_epi64(_mm256_set1_epi64x(static_cast<long long>(bits.left)), h);
    return choose(choose(v, _mm256_xor_pd(v, minus0), flipped), minus0, left);
}

// The ways from the corners along the gradients that the hashes choose. All three coordinates count only
// where z is the first.
AVX2 inline __m256d slopes(__m256i hashes, const CornerNumbers& d) {
    const __m256i h = _mm256_and_si256(hashes, _mm256_set1_epi64x(63));
    const __m256d xy = _mm256_add_pd(slope(d.x, h, gradientBits[0]), slope(d.y, h, gradientBits[1]));
    return _mm256_add_pd(slope(d.z, h, gradientBits[2]), xy);
}

// The noise: what the corners add, in the order of the walk. The 8 could stand anywhere: it changes exponents
// alone.
AVX2 inline float sumOfCorners(__m256i h, const CornerNumbers& d) {
    __m256d t = _mm256_sub_pd(_mm256_set1_pd(0.6), _mm256_mul_pd(d.x, d.x));
    t = stored(_mm256_sub_pd(_mm256_sub_pd(t, _mm256_mul_pd(d.y, d.y)), _mm256_mul_pd(d.z, d.z)));
    const __m256d tooFar = _mm256_cmp_pd(t, _mm256_setzero_pd(), _CMP_LT_OQ);
    const __m256d t2 = _mm256_mul_pd(t, t);
    const __m256d ways = _mm256_mul_pd(_mm256_set1_pd(8.0), slopes(h, d));
    const __m256d parts = _mm256_andnot_pd(tooFar, _mm256_mul_pd(_mm256_mul_pd(t2, t2), ways));
    const __m128 nearer = _mm_cvtpd_ps(_mm256_castpd256_pd128(parts));
    const __m128 farther = _mm_cvtpd_ps(_mm256_extractf128_pd(parts, 1));
    const __m128 sum = _mm_add_ss(_mm_add_ss(nearer, _mm_movehdup_ps(nearer)), farther);
    return _mm_cvtss_f32(_mm_add_ss(sum, _mm_movehdup_ps(farther)));
}

// From the corners to the point, along one axis.
AVX2 inline __m256d fromCorners(__m256d offset, __m256i steps) {
    const __m256d skews = _mm256_setr_pd(cornerSkew(0), cornerSkew(1), cornerSkew(2), cornerSkew(3));
    const __m256d none = _mm256_add_pd(offset, skews);
    const __m256d one = _mm256_add_pd(_mm256_sub_pd(offset, _mm256_set1_pd(1.0)), skews);
    return stored(choose(none, one, steps));
}

AVX2 inline __m128i floors(__m128 v) {
    const __m128 notAbove0 = _mm_cmpngt_ps(v, _mm_setzero_ps());
    return _mm_add_epi32(_mm_cvttps_epi32(v), _mm_castps_si128(notAbove0)); // a mask counts as -1
}

// The sum of the first three, times `sixth`, in the lanes of these three.
AVX2 inline __m128 unskewing(__m128i cell) {
    const __m128i others = _mm_add_epi32(_mm_shuffle_epi32(cell, 0x09), _mm_shuffle_epi32(cell, 0x12));
    return _mm_mul_ps(_mm_cvtepi32_ps(_mm_add_epi32(cell, others)), _mm_set1_ps(sixth));
}

// Leaves the fields as the walk would: a whole step away from the origin, and from there one more along x.
AVX2 inline void keepFields(SimplexNoise& noise, __m128i cell, __m128 offset) {
    char* const fields = reinterpret_cast<char*>(&noise);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(fields + offsetof(SimplexNoise, cell)), cell);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(fields + offsetof(SimplexNoise, corner)),
                     _mm_setr_epi32(2, 1, 1, 0));
    _mm_storeu_ps(reinterpret_cast<float*>(fields + offsetof(SimplexNoise, offset)),
                  _mm_blend_ps(offset, _mm_set1_ps(cornerSkew(3)), 8));
}

bool inVectorRange(float x, float y, float z) {
    return std::fabs(x) < vectorRange && std::fabs(y) < vectorRange && std::fabs(z) < vectorRange;
}

// What adds or multiplies two numbers that are floats may do so in float: rounding to double first, as the
// walk does, changes no such result.
AVX2 float vectorNoise(SimplexNoise& noise, float x, float y, float z) {
    const __m128 point = _mm_setr_ps(x, y, z, 0.0f);
    const float skew = static_cast<float>((static_cast<double>(x) + y + z) * third);
    const __m128i cell = floors(_mm_add_ps(point, _mm_set1_ps(skew)));
    const __m256d fromCell = _mm256_sub_pd(_mm256_cvtps_pd(point), _mm256_cvtepi32_pd(cell));
    const __m256d offset = stored(_mm256_add_pd(fromCell, _mm256_cvtps_pd(unskewing(cell))));
    keepFields(noise, cell, _mm256_cvtpd_ps(offset));
    const CornerNumbers origin = {_mm256_permute4x64_pd(offset, 0x00), _mm256_permute4x64_pd(offset, 0x55),
                                  _mm256_permute4x64_pd(offset, 0xaa)};
    const CornerSteps steps = walk(origin);
    const CornerNumbers d = {fromCorners(origin.x, steps.x), fromCorners(origin.y, steps.y),
                             fromCorners(origin.z, steps.z)};
    return sumOfCorners(hashes(noise.bitTable, cell, steps), d);
}

} // namespace
#endif

// SimplexNoise

SimplexNoise::SimplexNoise(float seed) : cell(), corner(), offset(), skew(0.0f), bitTable() {
    SetSeed(seed);
}

float SimplexNoise::Noise(float x, float y, float z) {
#if TARN_AVX2
    if (avx2InUse && inVectorRange(x, y, z))
        return vectorNoise(*this, x, y, z);
#endif
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

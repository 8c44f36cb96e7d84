// Filling the packed grid, and the vector form of "may this be touched?".
#include "spaceMapper_packed.h"

#include "avx2.h"
#include "spaceMapper.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#if TARN_AVX2
#include <immintrin.h>
#endif

namespace {

// ---- Filling

// What the boxes are good for: between these, nothing that the plain tests multiply gets out of a float's
// range.
const float largestBoxed = 1e8f;
const float longestUnitNormal = 1.001f;

void growBox(float* low, float* high, float x, float y) {
    low[0] = std::min(low[0], x);
    low[1] = std::min(low[1], y);
    high[0] = std::max(high[0], x);
    high[1] = std::max(high[1], y);
}

bool isBoxable(float x, float y) {
    return std::fabs(x) <= largestBoxed && std::fabs(y) <= largestBoxed;
}

/// A record that was not made by AddLine may have any normal, and numbers that are none.
bool isBoxable(const WallBlock& b, int lane) {
    return isBoxable(b.p1x[lane], b.p1y[lane]) && isBoxable(b.p2x[lane], b.p2y[lane]) &&
           std::hypot(b.normalX[lane], b.normalY[lane]) <= longestUnitNormal;
}

bool isBoxable(const EndBlock& b, int lane) {
    return isBoxable(b.x[lane], b.y[lane]);
}

void growBox(float* low, float* high, const WallBlock& b, int lane) {
    growBox(low, high, b.p1x[lane], b.p1y[lane]);
    growBox(low, high, b.p2x[lane], b.p2y[lane]);
}

void growBox(float* low, float* high, const EndBlock& b, int lane) {
    growBox(low, high, b.x[lane], b.y[lane]);
}

/// The box around the first `count` records of a block becomes lane `lane` of `boxes`.
template <class Block>
void enclose(const Block& block, int count, BoxBlock& boxes, int lane) {
    const float infinity = std::numeric_limits<float>::infinity();
    float low[2] = {infinity, infinity}, high[2] = {-infinity, -infinity};
    bool boxable = true;
    for (int i = 0; i < count; ++i) {
        growBox(low, high, block, i);
        boxable = boxable && isBoxable(block, i);
    }
    boxes.midX[lane] = boxable ? 0.5f * low[0] + 0.5f * high[0] : 0.0f;
    boxes.midY[lane] = boxable ? 0.5f * low[1] + 0.5f * high[1] : 0.0f;
    boxes.halfX[lane] = boxable ? high[0] - low[0] : infinity; // twice as large: no rounding gets out of it
    boxes.halfY[lane] = boxable ? high[1] - low[1] : infinity;
}

int countIn(const PackedList<WallBlock>&, const SpaceSeg& cell) {
    return cell.lineCount;
}

int countIn(const PackedList<EndBlock>&, const SpaceSeg& cell) {
    return cell.endPointCount;
}

void put(WallBlock& block, int lane, const SpaceSeg& cell, int index) {
    const SpMapLine2D& wall = cell.Lines()[index];
    block.p1x[lane] = wall.p1[0];
    block.p1y[lane] = wall.p1[1];
    block.p2x[lane] = wall.p2[0];
    block.p2y[lane] = wall.p2[1];
    block.normalX[lane] = wall.normal[0];
    block.normalY[lane] = wall.normal[1];
    block.id[lane] = wall.id;
}

void put(EndBlock& block, int lane, const SpaceSeg& cell, int index) {
    block.x[lane] = cell.EndPoints()[2 * index];
    block.y[lane] = cell.EndPoints()[2 * index + 1];
    block.index[lane] = index;
}

int blocksFor(int count) {
    return (count + packedLanes - 1) / packedLanes;
}

template <class Block>
void fill(PackedList<Block>& list, const SpaceSeg* cells, int cellCount) {
    list.starts.assign(static_cast<size_t>(cellCount) + 1, 0);
    for (int i = 0; i < cellCount; ++i)
        list.starts[i + 1] = list.starts[i] + countIn(list, cells[i]);
    const int count = list.starts[cellCount], blockCount = blocksFor(count);
    list.blocks.assign(blockCount, Block());
    list.boxes.assign(blocksFor(blockCount), BoxBlock());
    list.found.resize(count);
    for (int i = 0, number = 0; i < cellCount; ++i)
        for (int index = 0; number < list.starts[i + 1]; ++number, ++index) {
            Block& block = list.blocks[number / packedLanes];
            put(block, number % packedLanes, cells[i], index);
            block.cell[number % packedLanes] = i;
        }
    for (int i = 0; i < blockCount; ++i)
        enclose(list.blocks[i], std::min(packedLanes, count - i * packedLanes), list.boxes[i / packedLanes],
                i % packedLanes);
}

} // namespace

bool PackedGrid::Fill(const SpaceSeg* cells, int cellCount, int gridCols) {
    cols = gridCols;
    try {
        fill(walls, cells, cellCount);
        fill(ends, cells, cellCount);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

#if TARN_AVX2

namespace {

// ---- Finding

/// A run of numbers shorter than this is tested without a look at the boxes.
const int fewNumbers = 3 * packedLanes;
const int allLanes = (1 << packedLanes) - 1;
const float shortestBoxed = 1e-3f;
const float unbounded = std::numeric_limits<float>::infinity();
const float parallelDeterminant = 1e-7f; // as in the plain test

AVX2 inline __m256 all(float f) {
    return _mm256_set1_ps(f);
}

AVX2 inline __m256 add(__m256 a, __m256 b) {
    return _mm256_add_ps(a, b);
}

AVX2 inline __m256 sub(__m256 a, __m256 b) {
    return _mm256_sub_ps(a, b);
}

AVX2 inline __m256 mul(__m256 a, __m256 b) {
    return _mm256_mul_ps(a, b);
}

AVX2 inline __m256 positive(__m256 a) {
    return _mm256_andnot_ps(all(-0.0f), a);
}

/// a x + b y + c, in the plain form's order.
AVX2 inline __m256 lineAt(__m256 a, __m256 b, __m256 c, __m256 x, __m256 y) {
    return add(add(mul(a, x), mul(b, y)), c);
}

AVX2 inline __m256 isZero(__m256 a) {
    return _mm256_cmp_ps(a, _mm256_setzero_ps(), _CMP_EQ_OQ);
}

AVX2 inline __m256 differInSign(__m256 a, __m256 b) { // as !same_sign, also for what is no number
    return _mm256_cmp_ps(mul(a, b), _mm256_setzero_ps(), _CMP_NGE_UQ);
}

AVX2 inline __m256 both(__m256 a, __m256 b) {
    return _mm256_and_ps(a, b);
}

AVX2 inline __m256 either(__m256 a, __m256 b) {
    return _mm256_or_ps(a, b);
}

/// The least lane, in all lanes.
AVX2 inline __m256 least(__m256 v) {
    v = _mm256_min_ps(v, _mm256_permute2f128_ps(v, v, 1));
    v = _mm256_min_ps(v, _mm256_permute_ps(v, 0x4e));
    return _mm256_min_ps(v, _mm256_permute_ps(v, 0xb1));
}

/// A mask of those lanes whose bit is set.
AVX2 inline __m256 lanesOf(int bits) {
    const __m256i single = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
    return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(_mm256_set1_epi32(bits), single), single));
}

/// The way, each number in all lanes.
struct WideWay {
    __m256 ax, ay, bx, by, radius, moveA, moveB, moveC, minDistance;
    __m256i skippedLine;
};

AVX2 inline WideWay widen(const DiscWay& way) {
    return {all(way.ax),          all(way.ay),
            all(way.bx),          all(way.by),
            all(way.radius),      all(way.moveA),
            all(way.moveB),       all(way.moveC),
            all(way.minDistance), _mm256_set1_epi32(way.skippedLine)};
}

/// Walls at the way, by the plain test's operations in the plain form's order. Its last condition, the foot
/// on the wall, is left out.
struct Crossing {
    __m256 a2, b2, c2;   // line functions of the moved walls
    __m256 crossed;      // without a doubt
    __m256 maybeCrossed; // these, and those that the foot decides about
};

AVX2 inline Crossing crossingOf(const WallBlock& wall, const WideWay& way) {
    const __m256 px = _mm256_load_ps(wall.p1x), py = _mm256_load_ps(wall.p1y);
    const __m256 qx = _mm256_load_ps(wall.p2x), qy = _mm256_load_ps(wall.p2y);
    const __m256 normalX = _mm256_load_ps(wall.normalX), normalY = _mm256_load_ps(wall.normalY);
    const __m256 a2 = sub(qy, py), b2 = sub(px, qx), plainC = sub(mul(qx, py), mul(px, qy));
    const __m256 plainAtA = lineAt(a2, b2, plainC, way.ax, way.ay);
    const __m256 plainAtB = lineAt(a2, b2, plainC, way.bx, way.by);

    const __m256 negative = _mm256_cmp_ps(plainAtA, _mm256_setzero_ps(), _CMP_LT_OQ);
    const __m256 offset = _mm256_xor_ps(way.radius, both(negative, all(-0.0f)));
    const __m256 shiftX = mul(normalX, offset), shiftY = mul(normalY, offset);
    const __m256 ox = add(px, shiftX), oy = add(py, shiftY), rx = add(qx, shiftX), ry = add(qy, shiftY);
    const __m256 atP = lineAt(ox, oy, way.moveC, way.moveA, way.moveB);
    const __m256 atQ = lineAt(rx, ry, way.moveC, way.moveA, way.moveB);
    const __m256 reaches = either(either(isZero(atP), isZero(atQ)), differInSign(atP, atQ));

    const __m256 c2 = sub(mul(rx, oy), mul(ox, ry));
    const __m256 atA = lineAt(a2, b2, c2, way.ax, way.ay), atB = lineAt(a2, b2, c2, way.bx, way.by);
    const __m256 crosses = either(either(isZero(atA), isZero(atB)), differInSign(atA, atB));
    const __m256i ids = _mm256_load_si256(reinterpret_cast<const __m256i*>(wall.id));
    const __m256 passedOver = either(both(isZero(normalX), isZero(normalY)),
                                     _mm256_castsi256_ps(_mm256_cmpeq_epi32(ids, way.skippedLine)));
    const __m256 tested = _mm256_andnot_ps(passedOver, reaches);
    return {a2, b2, c2, both(tested, crosses), both(tested, either(crosses, differInSign(atB, plainAtB)))};
}

/// Bits from `first` to before `end`, as far as a block has them.
inline int bitsBetween(int first, int end) {
    const int below = first <= 0 ? 0 : (1 << first) - 1;
    const int upTo = end >= packedLanes ? allLanes : (1 << end) - 1;
    return upTo & ~below;
}

/// Those records of a block that a walk asks about: their first and, behind the last, their end.
struct Wanted {
    int first, end;
    int Bits() const { return bitsBetween(first, end); }
};

/// Of the wanted walls those that must be tested one by one. Crossed walls are left out that come after a
/// nearer one, for they cannot become the nearest any more; not so walls along the way, which are reported.
/// @param bound in all lanes: not below the walk's best at this block; brought up to date
AVX2 inline int touchable(const WallBlock& wall, Wanted wanted, const WideWay& way, __m256& bound) {
    const Crossing c = crossingOf(wall, way);
    if (_mm256_testz_ps(c.maybeCrossed, c.maybeCrossed))
        return 0;
    const __m256 maybeCrossed = both(c.maybeCrossed, lanesOf(wanted.Bits()));
    const __m256 det = sub(mul(way.moveA, c.b2), mul(c.a2, way.moveB));
    const __m256 parallel = _mm256_cmp_ps(positive(det), all(parallelDeterminant), _CMP_LE_OQ);
    const __m256 x = _mm256_div_ps(sub(mul(c.c2, way.moveB), mul(c.b2, way.moveC)), det);
    const __m256 y = _mm256_div_ps(sub(mul(c.a2, way.moveC), mul(c.c2, way.moveA)), det);
    const __m256 dx = sub(x, way.ax), dy = sub(y, way.ay);
    const __m256 distance = _mm256_sqrt_ps(add(mul(dx, dx), mul(dy, dy)));
    const __m256 nearer = _mm256_cmp_ps(distance, bound, _CMP_LT_OQ);
    const __m256 farEnough = _mm256_cmp_ps(distance, way.minDistance, _CMP_GT_OQ);
    const __m256 counts = both(both(maybeCrossed, c.crossed), _mm256_andnot_ps(parallel, farEnough));
    bound = least(_mm256_blendv_ps(bound, distance, both(counts, nearer)));
    return _mm256_movemask_ps(both(maybeCrossed, either(parallel, nearer)));
}

/// Of the wanted ends those whose circle the way's line meets.
AVX2 inline int touchable(const EndBlock& end, Wanted wanted, const WideWay& way, __m256&) {
    const __m256 dx = sub(way.bx, way.ax), dy = sub(way.by, way.ay);
    const __m256 fx = sub(way.ax, _mm256_load_ps(end.x)), fy = sub(way.ay, _mm256_load_ps(end.y));
    const __m256 qa = add(mul(dx, dx), mul(dy, dy));
    const __m256 qb = mul(all(2.0f), add(mul(dx, fx), mul(dy, fy)));
    const __m256 qc = sub(add(mul(fx, fx), mul(fy, fy)), mul(way.radius, way.radius));
    const __m256 disc = sub(mul(qb, qb), mul(mul(all(4.0f), qa), qc));
    const int bits = _mm256_movemask_ps(_mm256_cmp_ps(disc, _mm256_setzero_ps(), _CMP_NLT_UQ));
    return bits == 0 ? 0 : bits & wanted.Bits();
}

/// Whether the boxes can be trusted.
bool isBoxable(const DiscWay& way) {
    return isBoxable(way.ax, way.ay) && isBoxable(way.bx, way.by) && isBoxable(way.radius, way.length) &&
           way.length >= shortestBoxed;
}

/// How large the terms are whose difference is moveC, and those of the line function at A.
float sizeOfConstant(const DiscWay& way) {
    return std::fabs(way.bx * way.ay) + std::fabs(way.ax * way.by) + std::fabs(way.moveA * way.ax) +
           std::fabs(way.moveB * way.ay);
}

/// Bits for those boxes that the way's line comes near. For all others it is certain that rounding, too,
/// leaves everything in them on one side of the line and farther from it than the radius. Of the two margins
/// one stands for rounding in the test of ends, which loses up to a thousandth of the distance, the other for
/// sums of large coordinates; both are several times what can happen. A comparison with what is no number
/// says near.
AVX2 inline int nearBoxes(const BoxBlock& box, const WideWay& way, float wayLength, float constantSize) {
    const __m256 midX = _mm256_load_ps(box.midX), midY = _mm256_load_ps(box.midY);
    const __m256 halfX = _mm256_load_ps(box.halfX), halfY = _mm256_load_ps(box.halfY);
    const __m256 x = sub(midX, way.ax), y = sub(midY, way.ay);
    const __m256 a = positive(way.moveA), b = positive(way.moveB), radius = positive(way.radius);
    const __m256 distance = positive(add(mul(way.moveA, x), mul(way.moveB, y))); // times the way's length
    const __m256 reach = add(add(add(positive(x), positive(y)), add(halfX, halfY)), radius);
    const __m256 margin = add(add(radius, all(1e-15f)), mul(all(2e-3f), reach));
    const __m256 farX = add(add(positive(midX), halfX), radius),
                 farY = add(add(positive(midY), halfY), radius);
    const __m256 sums = add(add(mul(a, farX), mul(b, farY)), all(constantSize));
    const __m256 limit = add(add(mul(a, halfX), mul(b, halfY)),
                             add(mul(margin, all(wayLength * 1.001f)), mul(all(4e-6f), sums)));
    return _mm256_movemask_ps(_mm256_cmp_ps(distance, limit, _CMP_NGT_UQ));
}

/// Looks through the records of one kind.
template <class Block>
struct Finder {
    const PackedList<Block>& list;
    const DiscWay& way;
    const WideWay wide;
    const bool boxable;
    const float constantSize;
    __m256 bound;
    int* found;

    /// The numbers from `first` to before `end`.
    AVX2 inline void InRun(int first, int end) {
        if (end - first > fewNumbers && boxable)
            return InLongRun(first, end);
        for (int number = first & ~(packedLanes - 1); number < end; number += packedLanes)
            InBlock(number, first, end);
    }

    AVX2 inline void InLongRun(int first, int end) {
        const int firstBlock = first / packedLanes, endBlock = blocksFor(end);
        for (int boxes = firstBlock / packedLanes; boxes * packedLanes < endBlock; ++boxes) {
            const Wanted wanted = {firstBlock - boxes * packedLanes, endBlock - boxes * packedLanes};
            int blocks = wanted.Bits() & nearBoxes(list.boxes[boxes], wide, way.length, constantSize);
            for (; blocks != 0; blocks &= blocks - 1)
                InBlock((boxes * packedLanes + __builtin_ctz(blocks)) * packedLanes, first, end);
        }
    }

    /// @param number the block's first
    AVX2 inline void InBlock(int number, int first, int end) {
        const Block& block = list.blocks[number / packedLanes];
        int bits = touchable(block, {first - number, end - number}, wide, bound);
        for (; bits != 0; bits &= bits - 1)
            *found++ = number + __builtin_ctz(bits);
    }
};

template <class Block>
AVX2 void findIn(PackedList<Block>& list, const CellRange& range, int cols, const DiscWay& way) {
    Finder<Block> finder = {
        list, way, widen(way), isBoxable(way), sizeOfConstant(way), all(unbounded), list.found.data()};
    for (int row = range.firstRow; row <= range.lastRow; ++row) {
        const int first = list.starts[row * cols + range.firstCol];
        const int end = list.starts[row * cols + range.lastCol + 1];
        if (first < end)
            finder.InRun(first, end);
    }
    list.foundCount = static_cast<int>(finder.found - list.found.data());
}

} // namespace

void PackedGrid::Find(const CellRange& range, const DiscWay& way) {
    ends.foundCount = 0;
    if (way.radius > 0.0f)
        findIn(ends, range, cols, way);
    findIn(walls, range, cols, way);
}

#else

void PackedGrid::Find(const CellRange&, const DiscWay&) {}

#endif

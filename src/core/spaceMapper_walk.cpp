// The mapper's walk: follows one motion from touch to touch. A walk lives for one MapPoint call, reads the
// mapper's cells and changes nothing in them.
#include "spaceMapper.h"

#include "spaceMapper_packed.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

const float farAway = 1e14f;             // farther than any touch
const float parallelDeterminant = 1e-7f; // at or below it a motion runs along the wall
const float contactGap = 0.000001f;      // contacts stay this far off the offset wall
const float lineModeMinDistance = 0.00001f;
const float pointModeMinDistance = -1.0f;
const int maxPointCollisions = 20;
const int nothing = -1; // in place of a wall's id or an end's index

struct Vec {
    float x, y;
};

Vec operator+(Vec a, Vec b) {
    return {a.x + b.x, a.y + b.y};
}

Vec operator-(Vec a, Vec b) {
    return {a.x - b.x, a.y - b.y};
}

Vec operator*(Vec a, float f) {
    return {a.x * f, a.y * f};
}

Vec operator/(Vec a, float f) {
    return {a.x / f, a.y / f};
}

float dot(Vec a, Vec b) {
    return a.x * b.x + a.y * b.y;
}

float length(Vec a) {
    return std::sqrt(dot(a, a));
}

bool isFinite(Vec a) {
    return std::isfinite(a.x) && std::isfinite(a.y);
}

Vec load(const float* v) {
    return {v[0], v[1]};
}

void store(Vec v, float* out) {
    if (!out)
        return;
    out[0] = v.x;
    out[1] = v.y;
}

/// a x + b y + c: zero on the line through two points, else its sign tells the side.
struct LineFunction {
    float a, b, c;
    float At(Vec p) const { return a * p.x + b * p.y + c; }
};

LineFunction lineThrough(Vec u, Vec v) {
    return {v.y - u.y, u.x - v.x, v.x * u.y - u.x * v.y};
}

/// How the movement from A to B and a wall from P to Q lie to each other: each line's function at the
/// other's points.
struct Sides {
    float wallAtA, wallAtB, moveAtP, moveAtQ;
    float wallConstant; // c of the wall's line function
};

class Walk {
public:
    Vec contact, result, velocity;
    int collisions = 0;

    /// @param fastForm the mapper's cells once more, or null: then the cells are read
    Walk(const SpaceMapperLines2D& owner, PackedGrid* fastForm, Vec start, Vec motion, float discRadius,
         bool lineMode);
    void Run();

private:
    // Fixed for the whole walk.
    const SpaceMapperLines2D& mapper;
    PackedGrid* const packed;
    const Vec from;
    const float radius, speed;
    const bool asLine;
    const float minDistance; // touches count beyond it

    // Carried from pass to pass.
    Vec a, b;
    float remaining = -1.0f;                   // way still to go; negative: take the length of the pass
    int lastLine = nothing, lastEnd = nothing; // touched last, and not tested again
    bool colinear = false;

    // Of the current pass.
    LineFunction move{};
    float len = 0.0f;
    Vec dir{};
    float best = farAway, startRemaining = 0.0f;
    int currentLine = nothing;
    bool hit = false;

    void startPass();
    void testCells();
    void testPacked(const CellRange& range);
    void testPackedEnd(int number);
    void testPackedWall(int number);
    void testCell(const SpaceSeg& cell);
    void testEndPoint(int index, Vec end);
    void testWall(const SpMapLine2D& wall);
    Sides sidesOf(Vec p, Vec q, float a2, float b2) const;
    bool crosses(const Sides& plain, const Sides& offset, Vec p, Vec q, Vec normal) const;
    bool isCandidate(float distance) const;
    void bounce(float distance, Vec at, Vec newDir);
    void endPass();
    void finish();
};

Walk::Walk(const SpaceMapperLines2D& owner, PackedGrid* fastForm, Vec start, Vec motion, float discRadius,
           bool lineMode)
    : mapper(owner), packed(fastForm), from(start), radius(discRadius),
      speed(length(lineMode ? motion - start : motion)), asLine(lineMode),
      minDistance(lineMode ? lineModeMinDistance : pointModeMinDistance), a(start),
      b(lineMode ? motion : start + motion * owner.timeStep) {
    contact = result = b;
    velocity = motion;
}

void Walk::Run() {
    const int maxCollisions = asLine ? 1 : maxPointCollisions;
    while (collisions < maxCollisions) {
        startPass();
        testCells();
        endPass();
        if (!hit)
            break;
        ++collisions;
        a = contact;
        b = result;
    }
    if (collisions == maxPointCollisions) {
        result = contact;
        printf("max\n");
    }
    finish();
}

void Walk::startPass() {
    best = farAway;
    hit = false;
    currentLine = lastLine;
    move = lineThrough(a, b);
    len = length(b - a);
    if (remaining < 0.0f)
        remaining = len;
    startRemaining = remaining;
    dir = (b - a) / len;
}

void Walk::testCells() {
    if (!mapper.cells)
        return;
    const CellRange range = {
        mapper.ColumnOf(std::min(a.x, b.x) - radius), mapper.ColumnOf(std::max(a.x, b.x) + radius),
        mapper.RowOf(std::min(a.y, b.y) - radius), mapper.RowOf(std::max(a.y, b.y) + radius)};
    if (packed) {
        testPacked(range);
        return;
    }
    for (int row = range.firstRow; row <= range.lastRow; ++row)
        for (int col = range.firstCol; col <= range.lastCol; ++col)
            testCell(mapper.cells[row * mapper.cols + col]);
}

/// The same tests in the same order, but for those records that cannot be touched.
void Walk::testPacked(const CellRange& range) {
    packed->Find(range, {a.x, a.y, b.x, b.y, radius, move.a, move.b, move.c, len, minDistance, lastLine});
    const PackedList<EndBlock>& ends = packed->ends;
    const PackedList<WallBlock>& walls = packed->walls;
    for (int e = 0, w = 0; e < ends.foundCount || w < walls.foundCount;) {
        const bool endIsNext =
            e < ends.foundCount &&
            (w == walls.foundCount || ends.Cell(ends.found[e]) <= walls.Cell(walls.found[w]));
        if (endIsNext)
            testPackedEnd(ends.found[e++]);
        else
            testPackedWall(walls.found[w++]);
    }
}

void Walk::testPackedEnd(int number) {
    const EndBlock& block = packed->ends.blocks[number / packedLanes];
    const int lane = number % packedLanes;
    if (block.index[lane] != lastEnd)
        testEndPoint(block.index[lane], {block.x[lane], block.y[lane]});
}

void Walk::testPackedWall(int number) {
    const WallBlock& block = packed->walls.blocks[number / packedLanes];
    const int lane = number % packedLanes;
    testWall({{block.p1x[lane], block.p1y[lane]},
              {block.p2x[lane], block.p2y[lane]},
              {block.normalX[lane], block.normalY[lane]},
              block.id[lane]});
}

void Walk::testCell(const SpaceSeg& cell) {
    const float* ends = cell.EndPoints();
    for (int i = 0; radius > 0.0f && i < cell.endPointCount; ++i)
        if (i != lastEnd)
            testEndPoint(i, load(ends + 2 * i));
    const SpMapLine2D* walls = cell.Lines();
    for (int i = 0; i < cell.lineCount; ++i)
        if (walls[i].id != lastLine)
            testWall(walls[i]);
}

/// The disc against a wall's end: the movement against a circle of the disc's radius around the end.
void Walk::testEndPoint(int index, Vec end) {
    const Vec d = b - a, f = a - end;
    const float qa = dot(d, d), qb = 2.0f * dot(d, f), qc = dot(f, f) - radius * radius;
    const float disc = qb * qb - 4.0f * qa * qc;
    if (disc < 0.0f)
        return;
    const float root = std::sqrt(disc);
    float t = (root - qb) / (2.0f * qa);
    const float t2 = (-qb - root) / (2.0f * qa);
    if (t2 < t && t2 > 0.0f)
        t = t2;
    const float distance = t * len;
    // Written so that the quotients of a motion without length, which are no numbers, are no touch.
    if (!(t >= 0.0f && t <= 1.0f) || !isCandidate(distance))
        return;
    lastEnd = index;
    currentLine = nothing;
    const Vec at = a + d * t, en = (at - end) / radius;
    bounce(distance, at, dir - en * (2.0f * dot(dir, en)));
}

/// The disc against a wall: the movement against the wall moved by the disc's radius towards A.
void Walk::testWall(const SpMapLine2D& wall) {
    const Vec normal = load(wall.normal);
    if (normal.x == 0.0f && normal.y == 0.0f)
        return; // without length it has no sides
    Vec p = load(wall.p1), q = load(wall.p2);
    const float a2 = q.y - p.y, b2 = p.x - q.x;
    const Sides plain = sidesOf(p, q, a2, b2);
    const float side = plain.wallAtA < 0.0f ? -1.0f : 1.0f;
    p = p + normal * (side * radius);
    q = q + normal * (side * radius);
    const Sides offset = sidesOf(p, q, a2, b2);
    if (!crosses(plain, offset, p, q, normal))
        return;

    const float det = move.a * b2 - a2 * move.b;
    if (std::fabs(det) <= parallelDeterminant) {
        printf("Warning: colinear point collision!\n");
        colinear = true;
        return;
    }
    const float c2 = offset.wallConstant;
    const Vec crossing = {(c2 * move.b - b2 * move.c) / det, (a2 * move.c - c2 * move.a) / det};
    const float distance = length(crossing - a);
    if (!isCandidate(distance))
        return;
    currentLine = wall.id;
    const Vec tangent = Vec{-b2, a2} / std::sqrt(a2 * a2 + b2 * b2);
    bounce(distance, crossing + normal * (side * contactGap), tangent * (2.0f * dot(tangent, dir)) - dir);
}

/// @param a2,b2 first two coefficients of the line through p and q, which moving the wall does not change
Sides Walk::sidesOf(Vec p, Vec q, float a2, float b2) const {
    const LineFunction wall = {a2, b2, q.x * p.y - p.x * q.y};
    return {wall.At(a), wall.At(b), move.At(p), move.At(q), wall.c};
}

/// @param plain,offset the movement against the wall as it stands and moved by the radius
/// @param p,q ends of the moved wall
bool Walk::crosses(const Sides& plain, const Sides& offset, Vec p, Vec q, Vec normal) const {
    const float gP = offset.moveAtP, gQ = offset.moveAtQ;
    if (gP != 0.0f && gQ != 0.0f && same_sign(gP, gQ))
        return false;
    const float fA = offset.wallAtA, fB = offset.wallAtB;
    if (fA == 0.0f || fB == 0.0f || !same_sign(fA, fB))
        return true;
    // The motion stays on one side of the moved wall, but it may end inside the band between the two.
    const LineFunction foot = lineThrough(b - normal, b);
    return !same_sign(fB, plain.wallAtB) && !same_sign(foot.At(p), foot.At(q)) && gP != 0.0f && gQ != 0.0f;
}

bool Walk::isCandidate(float distance) const {
    return distance < best && distance > minDistance;
}

/// Makes a touch the nearest of the pass and turns the rest of the way there.
void Walk::bounce(float distance, Vec at, Vec newDir) {
    hit = true;
    best = distance;
    remaining = startRemaining - distance;
    contact = at;
    result = at + newDir * remaining;
    velocity = newDir * speed;
}

void Walk::endPass() {
    lastLine = currentLine;
    if (lastLine >= 0)
        lastEnd = nothing;
}

void Walk::finish() {
    const bool inRange = isFinite(result) && isFinite(velocity);
    if (!isFinite(contact))
        contact = from;
    if (colinear || !inRange) {
        result = from;
        velocity = {0.0f, 0.0f};
    }
}

} // namespace

int SpaceMapperLines2D::MapPoint(const float* from, const float* motion, float radius, float* contact,
                                 float* result, float* velocity, bool asLine) {
    Walk walk(*this, privPacked(), load(from), load(motion), radius, asLine);
    walk.Run();
    store(walk.contact, contact);
    store(walk.result, result);
    store(walk.velocity, velocity);
    return walk.collisions;
}

int SpaceMapperLines2D::MapLine(const float* from, const float* to, float radius, float* contact,
                                float* result) {
    return MapPoint(from, to, radius, contact, result, nullptr, true);
}

// The mapper's world: the grid, its cells, and the walls in them. The cells live in cellBlock and are built
// and ended in place, since each owns blocks of its own.
#include "spaceMapper.h"

#include "avx2.h"
#include "spaceMapper_packed.h"
#include "strfuncs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <new>

namespace {

const int maxCellsPerSide = 4096;
const int maxCells = 1024 * 1024;
const int maxWalkSteps = 100;    // cells that a wall is followed through
const int recordsPerMotion = 32; // packed in the time of one motion
const float endPointMergeDistance = 0.01f;
const double squaresPerUnit = 64.0; // side of a hash square: somewhat above the merge distance

static_assert(sizeof(SpMapLine2D) == 28, "wall records are six floats and an int, without gaps");

bool isFinitePair(const float* v) {
    return std::isfinite(v[0]) && std::isfinite(v[1]);
}

/// The cell index of v on one axis. Limits before the cast, so that any float is allowed.
int cellIndex(float v, float low, float high, int count) {
    const float index = (v - low) / (high - low) * static_cast<float>(count);
    if (!(index > 0.0f))
        return 0;
    if (index >= static_cast<float>(count))
        return count - 1;
    return static_cast<int>(index);
}

bool isUsableSide(float low, float high, int count) {
    return high > low && std::isfinite(high - low) && count >= 1 && count <= maxCellsPerSide;
}

void placeCell(SpaceSeg& cell, int col, int row, const float* gridMin, float width, float height) {
    cell.col = col;
    cell.row = row;
    cell.min[0] = gridMin[0] + static_cast<float>(col) * width;
    cell.min[1] = gridMin[1] + static_cast<float>(row) * height;
    cell.max[0] = gridMin[0] + static_cast<float>(col + 1) * width;
    cell.max[1] = gridMin[1] + static_cast<float>(row + 1) * height;
}

/// Where a square's chain of slots begins. Squares are counted in doubles, which hold those of any float.
size_t firstSlot(double squareX, double squareY, size_t slotCount) {
    const std::hash<double> hash;
    return (hash(squareX) * 31 + hash(squareY)) & (slotCount - 1);
}

size_t slotCountOf(const SpaceSeg* cell) {
    return static_cast<size_t>(cell->endPointSlots.Len()) / sizeof(int);
}

void enterEndPoint(SpaceSeg* cell, int index) {
    const float* end = cell->EndPoints() + 2 * index;
    int* slots = reinterpret_cast<int*>(cell->endPointSlots.data);
    const size_t count = slotCountOf(cell);
    size_t slot = firstSlot(std::floor(end[0] * squaresPerUnit), std::floor(end[1] * squaresPerUnit), count);
    while (slots[slot] != 0)
        slot = (slot + 1) & (count - 1);
    slots[slot] = index + 1;
}

/// Keeps the table at most half full, so that its chains stay short and have an end.
/// @return false when there is no memory for one more
bool makeRoomForEndPoint(SpaceSeg* cell) {
    const size_t count = slotCountOf(cell), needed = 2 * (static_cast<size_t>(cell->endPointCount) + 1);
    if (needed <= count)
        return true;
    const size_t grown = std::max<size_t>(8, 2 * count);
    cell->endPointSlots.Resize(static_cast<int>(grown * sizeof(int)));
    if (slotCountOf(cell) != grown)
        return false;
    cell->endPointSlots.ZeroData();
    for (int i = 0; i < cell->endPointCount; ++i)
        enterEndPoint(cell, i);
    return true;
}

bool endsMerge(const float* a, const float* b) {
    const float dx = a[0] - b[0], dy = a[1] - b[1];
    return std::sqrt(dx * dx + dy * dy) <= endPointMergeDistance;
}

/// Whether an end that merges with point is entered under the square. Chains run into one another, but what
/// is met in passing and merges is as good.
bool squareHasEndPoint(const SpaceSeg* cell, double squareX, double squareY, const float* point) {
    const int* slots = reinterpret_cast<const int*>(cell->endPointSlots.data);
    const size_t count = slotCountOf(cell);
    for (size_t slot = firstSlot(squareX, squareY, count); slots[slot] != 0; slot = (slot + 1) & (count - 1))
        if (endsMerge(cell->EndPoints() + 2 * (slots[slot] - 1), point))
            return true;
    return false;
}

void countAddition(SpaceSeg* cell) {
    if (cell->additions)
        ++*cell->additions;
}

} // namespace

// ---- SpaceMapper

void SpaceMapper::AddSpaceObject(const char*, void*) {}

void SpaceMapper::HandleEvent(const char*, void*) {}

int SpaceMapper::MapPoint(const float*, const float*, float, float*, float*, float*, bool) {
    return 0;
}

int SpaceMapper::MapLine(const float*, const float*, float, float*, float*) {
    return 0;
}

void SpaceMapper::DebugDrawSegments() {}

void SpaceMapper::Reset(bool) {}

void SpaceMapper::SetTime(float newTime, float newTimeStep) {
    time = newTime;
    timeStep = newTimeStep;
}

void destroySpaceMapper(SpaceMapper* mapper) {
    delete static_cast<SpaceMapperLines2D*>(mapper);
}

// ---- SpaceMapperLines2D

SpaceMapperLines2D::SpaceMapperLines2D() {
    Reset(false);
}

SpaceMapperLines2D::~SpaceMapperLines2D() {
    privDiscardCells();
}

void SpaceMapperLines2D::AddSpaceObject(const char* type, void* data) {
    if (type && strequal(type, "line2d", true))
        AddLine(static_cast<SpMapLine2D*>(data));
}

void SpaceMapperLines2D::HandleEvent(const char*, void*) {}

void SpaceMapperLines2D::Reset(bool rebuild) {
    privDiscardCells();
    nextLineId = 0;
    if (rebuild)
        SetSpaceBounds(boundsMin, boundsMax, cols, rows);
}

void SpaceMapperLines2D::SetSpaceBounds(const float* min, const float* max, int newCols, int newRows) {
    privDiscardCells(); // with the old counts, which say how many there are
    for (int axis = 0; axis < 2; ++axis) {
        boundsMin[axis] = min[axis];
        boundsMax[axis] = max[axis];
    }
    cols = newCols;
    rows = newRows;
    if (!isUsableSide(min[0], max[0], cols) || !isUsableSide(min[1], max[1], rows) ||
        cols * rows > maxCells) {
        printf("ERR: no space grid of %i x %i cells from (%g, %g) to (%g, %g)\n", cols, rows, min[0], min[1],
               max[0], max[1]);
        return;
    }
    const float width = (max[0] - min[0]) / static_cast<float>(cols);
    const float height = (max[1] - min[1]) / static_cast<float>(rows);
    cellBlock.Resize(cols * rows * static_cast<int>(sizeof(SpaceSeg)));
    if (!cellBlock.data)
        return; // no memory for it
    cells = reinterpret_cast<SpaceSeg*>(cellBlock.data);
    for (int i = 0; i < cols * rows; ++i) {
        placeCell(*new (&cells[i]) SpaceSeg, i % cols, i / cols, boundsMin, width, height);
        cells[i].additions = &additions;
    }
}

void SpaceMapperLines2D::privDiscardCells() {
    if (cells)
        for (int i = 0; i < cols * rows; ++i)
            cells[i].~SpaceSeg();
    cells = nullptr;
    cellBlock.Delete();
    packed.reset();
    additions = plainMotions = 0;
}

/// The packed grid, or null while the cells are to be tested one by one. Packing takes about the time of some
/// motions tested plainly and waits for as many, so that walls may be added between any two motions.
PackedGrid* SpaceMapperLines2D::privPacked() {
    if (!avx2InUse || !cells)
        return nullptr;
    if (packed && packedAdditions == additions)
        return packed.get();
    if (plainMotions++ < (cols * rows + additions) / recordsPerMotion)
        return nullptr;
    plainMotions = 0;
    packedAdditions = additions;
    packed.reset(new (std::nothrow) PackedGrid);
    if (packed && !packed->Fill(cells, cols * rows, cols))
        packed.reset();
    return packed.get();
}

int SpaceMapperLines2D::ColumnOf(float x) const {
    return cellIndex(x, boundsMin[0], boundsMax[0], cols);
}

int SpaceMapperLines2D::RowOf(float y) const {
    return cellIndex(y, boundsMin[1], boundsMax[1], rows);
}

SpaceSeg* SpaceMapperLines2D::GetSegFromPoint(float x, float y) const {
    return cells ? &cells[RowOf(y) * cols + ColumnOf(x)] : nullptr;
}

void SpaceMapperLines2D::AddLine(SpMapLine2D* line) {
    if (!cells || !line || !isFinitePair(line->p1) || !isFinitePair(line->p2))
        return;
    CalcLineNorm(line);
    line->id = nextLineId++;
    SpaceSeg* current = GetSegFromPoint(line->p1[0], line->p1[1]);
    SpaceSeg* const last = GetSegFromPoint(line->p2[0], line->p2[1]);
    AddEndPointToSeg(current, line->p1);
    AddEndPointToSeg(last, line->p2);
    AddLineToSeg(current, line);

    const int stepX = line->p2[0] < line->p1[0] ? -1 : 1;
    const int stepY = line->p2[1] <= line->p1[1] ? -1 : 1;
    for (int step = 0; step < maxWalkSteps && current != last; ++step) {
        current = privNeighbourOnLine(current, stepX, stepY, line);
        if (!current) {
            printf("ERR: LineSegIntersection Err\n");
            return;
        }
        AddLineToSeg(current, line);
    }
}

/// The next cell on the line's way, beside the cell or else above or below it; null when it is in neither.
SpaceSeg* SpaceMapperLines2D::privNeighbourOnLine(const SpaceSeg* cell, int stepX, int stepY,
                                                  SpMapLine2D* line) const {
    const int col = cell->col + stepX, row = cell->row + stepY;
    if (col >= 0 && col < cols) {
        SpaceSeg* beside = &cells[cell->row * cols + col];
        if (LineIntersectsSeg(beside, line))
            return beside;
    }
    if (row >= 0 && row < rows) {
        SpaceSeg* next = &cells[row * cols + cell->col];
        if (LineIntersectsSeg(next, line))
            return next;
    }
    return nullptr;
}

// ---- Walls and cells

void CalcLineNorm(SpMapLine2D* line) {
    const float dx = line->p2[0] - line->p1[0], dy = line->p2[1] - line->p1[1];
    const float length = std::sqrt(dx * dx + dy * dy);
    line->normal[0] = length > 0.0f ? dy / length : 0.0f;
    line->normal[1] = length > 0.0f ? -dx / length : 0.0f;
}

void AddLineToSeg(SpaceSeg* cell, SpMapLine2D* line) {
    cell->lines.Append(reinterpret_cast<const char*>(line), static_cast<int>(sizeof(*line)));
    cell->lineCount = cell->lines.Len() / static_cast<int>(sizeof(*line));
    countAddition(cell);
}

void AddEndPointToSeg(SpaceSeg* cell, float* point) {
    if (!makeRoomForEndPoint(cell))
        return;
    const double squareX = std::floor(point[0] * squaresPerUnit),
                 squareY = std::floor(point[1] * squaresPerUnit);
    for (int i = 0; i < 9; ++i)
        if (squareHasEndPoint(cell, squareX + i % 3 - 1, squareY + i / 3 - 1, point))
            return;
    cell->endPoints.Append(reinterpret_cast<const char*>(point), 2 * static_cast<int>(sizeof(float)));
    if (cell->endPoints.NumFloats() / 2 == cell->endPointCount)
        return; // no memory for it
    enterEndPoint(cell, cell->endPointCount++);
    countAddition(cell);
}

bool LineIntersectsSeg(SpaceSeg* cell, SpMapLine2D* line) {
    const float *u = line->p1, *v = line->p2;
    const float a = v[1] - u[1], b = u[0] - v[0], c = v[0] * u[1] - u[0] * v[1];
    const float *low = cell->min, *high = cell->max;
    const int positive = (a * low[0] + b * low[1] + c > 0.0f) + (a * high[0] + b * high[1] + c > 0.0f) +
                         (a * low[0] + b * high[1] + c >= 0.0f) + (a * high[0] + b * low[1] + c >= 0.0f);
    return positive != 0 && positive != 4;
}

bool same_sign(float a, float b) {
    return a * b >= 0.0f;
}

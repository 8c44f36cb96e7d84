// The 2D space mapper: moves points and discs through a world of wall segments and bounces them off.
// The engine owns at most one mapper and ends it with destroySpaceMapper; a mapper owns its cells and
// its copies of the walls, and keeps no pointer to anything that a caller passes in.
#pragma once

#include "datablock.h"

#include <memory>

struct PackedGrid;

// The model. A world is a rectangle (the bounds) cut into cols x rows equal cells:
//
//     boundsMin (0, 0), boundsMax (4, 2), 4 x 2 cells      a wall from (0.5, 0.5) to (2.5, 1.5)
//     +------+------+------+------+  (4, 2)                 is copied into cells 0, 1, 5 and 6, each
//     |  4   |  5   |  6   |  7   |                         cell that it passes through; its ends
//     +------+------+------+------+                         are kept in cells 0 and 6, where they
//     |  0   |  1   |  2   |  3   |                         lie, and act as posts for discs
//     +------+------+------+------+
//
// A motion tests only the walls and ends in the cells below it, takes the nearest touch, mirrors the rest
// of the motion there and goes on, until nothing is touched any more. Everything outside the bounds counts
// to the nearest edge cell. All coordinates are x, y pairs of 32-bit floats, in any one unit.

/// One wall segment. Callers fill p1 and p2; the mapper fills the rest.
struct SpMapLine2D {
    float p1[2];     // start point
    float p2[2];     // end point
    float normal[2]; // unit length, to the right when looking from p1 to p2; (0, 0) for a wall without length
    int id;          // order of registration from 0; stays the same in every cell's copy
};

/// One grid cell. Records are added by AddLineToSeg and AddEndPointToSeg: so the mapper learns of them.
struct SpaceSeg {
    DataBlock lines;     // SpMapLine2D records, copies of every wall that passes through
    DataBlock endPoints; // pairs of floats: wall ends that lie in the cell, close ones merged
    int lineCount = 0;
    int endPointCount = 0;
    int col = 0, row = 0;
    float min[2] = {0.0f, 0.0f}; // lower-left corner
    float max[2] = {0.0f, 0.0f}; // upper-right corner
    DataBlock endPointSlots;     // hash table of indexes into endPoints plus 1, by place; 0 is a free slot
    int* additions = nullptr; // its grid's count of what was added to cells; null for a cell outside a grid

    const SpMapLine2D* Lines() const { return reinterpret_cast<const SpMapLine2D*>(lines.data); }
    const float* EndPoints() const { return reinterpret_cast<const float*>(endPoints.data); }
};

/// What the engine and the scripts see of a mapper. This base does nothing: it maps nothing, writes no
/// output and reports no collision. The virtual operations stand in their slot order, without a destructor
/// among them, so a mapper is only ever ended through destroySpaceMapper.
class SpaceMapper {
public:
    float time = 0.0f;     // game time, seconds
    float timeStep = 0.0f; // seconds of the current frame; point mapping multiplies the motion by it

    SpaceMapper() = default;
    SpaceMapper(const SpaceMapper&) = delete;
    SpaceMapper& operator=(const SpaceMapper&) = delete;

    /// Adds something to the world; which data a type stands for is the mapper's matter.
    virtual void AddSpaceObject(const char* type, void* data);
    virtual void HandleEvent(const char* name, void* data);
    /// Moves a disc. See SpaceMapperLines2D::MapPoint.
    virtual int MapPoint(const float* from, const float* motion, float radius, float* contact, float* result,
                         float* velocity, bool asLine);
    /// Follows a segment to its first collision. See SpaceMapperLines2D::MapLine.
    virtual int MapLine(const float* from, const float* to, float radius, float* contact, float* result);
    virtual void DebugDrawSegments();
    virtual void Reset(bool rebuild);

    /// Called once a frame, before the script runs.
    void SetTime(float newTime, float newTimeStep);

protected:
    ~SpaceMapper() = default;
};

/// The mapper of straight walls in a grid.
class SpaceMapperLines2D final : public SpaceMapper {
public:
    int nextLineId = 0;
    DataBlock cellBlock;       // storage of the cells
    SpaceSeg* cells = nullptr; // in cellBlock, index row * cols + col; null while there is no grid
    float boundsMin[2] = {0.0f, 0.0f};
    float boundsMax[2] = {0.0f, 0.0f};
    int cols = 0, rows = 0;

    /// A mapper without a grid: until SetSpaceBounds it takes no walls, and every motion runs free.
    SpaceMapperLines2D();
    ~SpaceMapperLines2D();

    /// Takes type "line2d" (in this case exactly) with data a SpMapLine2D*; ignores every other type and
    /// null pointers. The record is completed in place, see AddLine.
    void AddSpaceObject(const char* type, void* data) override;
    void HandleEvent(const char* name, void* data) override;

    /// Moves a disc from `from` and bounces it off the walls on its way.
    /// In point mode the target is from + motion * timeStep, every touch counts and at most 20 are
    /// handled: the twentieth prints "max" and leaves the disc at the contact. In line mode (asLine) motion
    /// is the target itself, a touch nearer than 0.00001 to `from` is passed over, and the first other one
    /// ends the walk. A motion parallel to a wall that it touches prints "Warning: colinear point collision!"
    /// and leaves the disc at `from`, at rest; so does arithmetic that leaves the range of floats.
    /// @param radius of the disc; wall ends are felt only when it is above 0
    /// @param contact the disc's centre at the last touch, the target when there was none
    /// @param result where the disc ends; the three outputs are pairs of floats, and each may be null
    /// @param velocity direction after the last bounce with the length of motion (in line mode of the way
    ///        from `from` to the target); without a touch, motion unchanged
    /// @return the number of collisions handled
    int MapPoint(const float* from, const float* motion, float radius, float* contact, float* result,
                 float* velocity, bool asLine) override;

    /// MapPoint in line mode, from `from` to `to`.
    /// @return 1 when something was touched, 0 otherwise
    int MapLine(const float* from, const float* to, float radius, float* contact, float* result) override;

    /// Draws the outline of every cell, then every wall, in the current colour at z = 0.
    void DebugDrawSegments() override;

    /// Drops all walls and the grid.
    /// @param rebuild makes an empty grid again, with the bounds and the cell counts of the last one
    void Reset(bool rebuild) override;

    /// Replaces the grid by an empty one. Bounds that are not finite or enclose nothing, a count below 1
    /// or above 4096, or more than 1,048,576 cells print one line and leave the mapper without a grid.
    void SetSpaceBounds(const float* min, const float* max, int newCols, int newRows);

    /// The cell that contains a point, or the edge cell nearest to it; null while there is no grid.
    SpaceSeg* GetSegFromPoint(float x, float y) const;

    /// Registers a wall in every cell on its way, after giving it its normal and id. Ignored without a grid
    /// or with a coordinate that is not finite. A walk through the cells that loses the line prints
    /// "ERR: LineSegIntersection Err" and leaves the wall in the cells reached so far; a walk ends after 100
    /// steps, so in very fine grids long walls are to be added in pieces.
    void AddLine(SpMapLine2D* line);

    /// Draws every wall record of every cell at z = 0 (a wall in three cells three times).
    void DebugDrawLines();

    /// Column that holds x and row that holds y, limited to the grid. Any float is allowed.
    int ColumnOf(float x) const;
    int RowOf(float y) const;

private:
    std::unique_ptr<PackedGrid> packed;     // the cells as of packedAdditions; null before
    int additions = 0, packedAdditions = 0; // to the cells of this grid
    int plainMotions = 0;                   // tested cell by cell since the last packing

    PackedGrid* privPacked();
    void privDiscardCells();
    SpaceSeg* privNeighbourOnLine(const SpaceSeg* cell, int stepX, int stepY, SpMapLine2D* line) const;
};

/// Ends a mapper made by new SpaceMapperLines2D, the one concrete kind. Null is allowed.
void destroySpaceMapper(SpaceMapper* mapper);

/// Sets line->normal from its points; a line without length gets (0, 0).
void CalcLineNorm(SpMapLine2D* line);

/// Appends a copy of line to the cell.
void AddLineToSeg(SpaceSeg* cell, SpMapLine2D* line);

/// Adds a wall end (two floats) to the cell, unless one lies within 0.01 of it already.
void AddEndPointToSeg(SpaceSeg* cell, float* point);

/// Whether the infinite line through the wall's points passes through the cell. For a line that touches no
/// more than a corner, the direction of the wall decides.
bool LineIntersectsSeg(SpaceSeg* cell, SpMapLine2D* line);

/// Whether a * b >= 0: zero has the sign of everything.
bool same_sign(float a, float b);

/// Prints the first n floats of v (1 to 4) on one line; any other n prints nothing.
void fa_print(int n, const float* v);

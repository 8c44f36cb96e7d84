// A grid's walls and wall ends once more, packed so that eight of them are tested at a time. A mapper owns
// one grid of this kind beside its cells, fills it from them when it has been asked often enough since they
// changed, and asks it which of the records in some cells a motion may touch at all. Only these few are then
// tested one by one, by the same arithmetic and in the same order as ever.
#pragma once

#include <vector>

struct SpaceSeg;

// The model. Blocks hold eight records, transposed; the records stand in the order in which a walk tests
// them: row by row, in a row cell by cell, in a cell as they were added. Thus the records of neighbouring
// cells of one row lie side by side, in one run of blocks:
//
//     cell        0        1    2            3
//     record      0  1  2  3    4  5  6  7 | 8  9          starts: 0, 3, 4, 8, 10
//                                          a block ends here; the cells 1 to 3 are the records 3 to 9
//
// A box around each block lets long motions pass over most blocks unread.

/// Records that are tested together.
constexpr int packedLanes = 8;

struct alignas(64) WallBlock {
    float p1x[packedLanes], p1y[packedLanes], p2x[packedLanes], p2y[packedLanes];
    float normalX[packedLanes], normalY[packedLanes];
    int id[packedLanes];
    int cell[packedLanes];
};

struct alignas(64) EndBlock {
    float x[packedLanes], y[packedLanes];
    int index[packedLanes]; // within the cell
    int cell[packedLanes];
};

/// Boxes around the contents of eight blocks.
struct alignas(64) BoxBlock {
    float midX[packedLanes], midY[packedLanes];
    float halfX[packedLanes], halfY[packedLanes]; // infinite where the box says nothing
};

/// Columns and rows of cells, each from first to last.
struct CellRange {
    int firstCol, lastCol, firstRow, lastRow;
};

/// One pass of a walk: a disc's straight way from a to b.
struct DiscWay {
    float ax, ay, bx, by, radius;
    float moveA, moveB, moveC; // the line function of the way
    float length;
    float minDistance; // touches count beyond it
    int skippedLine;   // id of the wall that is not tested
};

/// Records of one kind.
template <class Block>
struct PackedList {
    std::vector<int> starts; // by cell: the number of its first record; one more at the end
    std::vector<Block> blocks;
    std::vector<BoxBlock> boxes; // of eight blocks each
    std::vector<int> found;      // room for every number
    int foundCount = 0;

    int Cell(int number) const { return blocks[number / packedLanes].cell[number % packedLanes]; }
};

struct PackedGrid {
    PackedList<WallBlock> walls;
    PackedList<EndBlock> ends;

    /// Takes over the records of the cells.
    /// @return false without memory for it; then the grid is not to be asked
    bool Fill(const SpaceSeg* cells, int cellCount, int cols);

    /// Puts the numbers of those records into `found`, in order, that way may touch. A record in range that
    /// is not among them is not touched by the plain tests' arithmetic either: neither is it a candidate nor
    /// does it print. Ends are looked for if the radius is above 0. Needs AVX2.
    void Find(const CellRange& range, const DiscWay& way);

private:
    int cols = 0;
};

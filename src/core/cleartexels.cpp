// Reading textures back to find their transparent cells.
#include "cleartexels.h"

#include "opengl.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

namespace {

constexpr int kSide = ClearCells::kSide;
constexpr int kMostLevels = 8;  // at the last a cell of a usual texture is smaller than a texel
constexpr float kFilter = 0.6f; // texels beyond a place that linear filtering reads, and some for rounding

/// The alpha channel of one mip level.
struct AlphaImage {
    int width = 0, height = 0;
    int stride = 0; // bytes
    std::vector<unsigned char> alpha;
};

AlphaImage readLevel(int level) {
    AlphaImage image;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, level, GL_TEXTURE_WIDTH, &image.width);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, level, GL_TEXTURE_HEIGHT, &image.height);
    image.stride = (image.width + 3) / 4 * 4; // OpenGL's default alignment
    image.alpha.resize(static_cast<std::size_t>(image.stride) * image.height);
    if (!image.alpha.empty())
        glGetTexImage(GL_TEXTURE_2D, level, GL_ALPHA, GL_UNSIGNED_BYTE, image.alpha.data());
    return image;
}

/// Whether the texels from first to last in both directions are transparent; textures repeat.
bool isClear(const AlphaImage& image, const int first[2], const int last[2]) {
    for (int y = first[1]; y <= last[1]; ++y) {
        const int row = (y + image.height) % image.height * image.stride;
        for (int x = first[0]; x <= last[0]; ++x)
            if (image.alpha[row + (x + image.width) % image.width] != 0)
                return false;
    }
    return true;
}

/// Whether nothing but transparent texels is read within a cell, its border included.
bool isCellClear(const AlphaImage& image, int column, int row) {
    const float cell[2] = {static_cast<float>(image.width) / kSide, static_cast<float>(image.height) / kSide};
    const int at[2] = {column, row};
    int first[2], last[2];
    for (int i = 0; i < 2; ++i) {
        first[i] = static_cast<int>(std::floor(cell[i] * static_cast<float>(at[i]) - kFilter));
        last[i] = static_cast<int>(std::floor(cell[i] * static_cast<float>(at[i] + 1) + kFilter));
    }
    return isClear(image, first, last);
}

/// Adds a level to the cells that are clear so far. @return how many still are
int addLevel(ClearCells& cells, int level) {
    const AlphaImage image = readLevel(level);
    if (image.alpha.empty())
        return 0;
    if (level == 0) {
        cells.width = image.width;
        cells.height = image.height;
    }
    int clear = 0;
    for (int i = 0; i < kSide * kSide; ++i) {
        if (cells.levels[i] != level || !isCellClear(image, i % kSide, i / kSide))
            continue;
        ++cells.levels[i];
        ++clear;
    }
    return clear;
}

} // namespace

void ClearTexels::Reset() {
    known.clear();
}

const ClearCells& ClearTexels::Of(unsigned texture) {
    const auto [entry, isNew] = known.try_emplace(texture);
    ClearCells& cells = entry->second;
    if (!isNew)
        return cells;
    for (int level = 0; level < kMostLevels && addLevel(cells, level) > 0; ++level)
        ;
    cells.any = std::any_of(std::begin(cells.levels), std::end(cells.levels), [](int n) { return n > 0; });
    return cells;
}

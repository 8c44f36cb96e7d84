// ClearTexels: which parts of textures are fully transparent. It keeps a small table for each texture that
// was asked about and owns nothing in OpenGL.
#pragma once

#include <unordered_map>

/// One texture in 16 x 16 equal cells, the first at texture coordinate 0, 0.
struct ClearCells {
    static constexpr int kSide = 16;

    int width, height;                   ///< of mip level 0, in texels
    bool any;                            ///< whether any cell has a level
    unsigned char levels[kSide * kSide]; ///< leading mip levels at which no alpha but 0 is read in the cell
};

/// The tables of the current context's textures. Images must not change once they were asked about.
class ClearTexels {
public:
    /// Forgets the textures of another context.
    void Reset();
    /// @param texture the one bound to 2D, whose first look-up reads its image back: milliseconds
    const ClearCells& Of(unsigned texture);

private:
    std::unordered_map<unsigned, ClearCells> known; // by texture
};

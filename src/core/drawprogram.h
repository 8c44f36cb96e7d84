// DrawPrograms: shader programs that large draws of the fixed-function pipeline go through instead. They
// belong to the OpenGL context that they were built in.
#pragma once

// What scripts draw without a shader of their own and without lighting is one colour, times a texture where
// one is bound. The program that a driver makes of the fixed-function pipeline for that is more general than
// it has to be: a software rasteriser fetches the colour from memory for each pixel, divides texture
// coordinates by their fourth one and interpolates in perspective whatever the camera is. The programs here
// do without, and the picture stays the same, bit for bit on Mesa. Building one takes milliseconds, so that
// small draws wait until a large one has built it.

/// A draw without lighting, whose triangles and lines are of one colour each.
struct DrawKind {
    bool textured;    ///< a texture is bound
    bool white;       ///< everything has the colour 1, 1, 1, 1
    bool perspective; ///< vertices may differ in w
};

/// See the top of this file. Everything but the constructor needs the current OpenGL context.
class DrawPrograms {
public:
    DrawPrograms();

    /// Forgets the programs of another context.
    /// @param wanted false when no program shall be used
    void Reset(bool wanted);
    /// Deletes the programs; For builds new ones.
    void Release();
    /// @return the program for a draw, or 0, the fixed-function pipeline, where there is none: for small
    ///         draws, and where programs cannot be built. Quads must not be drawn through a program but as
    ///         triangles: flat colours make drivers divide them in another way.
    unsigned For(const DrawKind& kind, int vertices);

private:
    bool available;       // as far as is known; false once building has failed
    unsigned programs[8]; // 0 for those not built
};

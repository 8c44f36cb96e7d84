// DrawJoin: joins the many small draws of a script into few. It owns the vertices that are not drawn yet and
// the matrix stack of scripts; meshes and textures stay with their owners.
#pragma once

#include "cleartexels.h"
#include "drawprogram.h"
#include "tnmath.h"

class Geometry;

// A draw through OpenGL costs microseconds whatever it draws, and so a script that moves and draws thousands
// of small meshes would spend its frame there. Two things are kept on the processor instead:
//
//   - the state that scripts change between such draws: the model-view matrix and its stack, the current
//     colour, the texture bound to 2D, the shader program. OpenGL itself learns about them when something
//     needs them (Sync), and about values that nothing was drawn with never. Its own model-view stack stays
//     at its first entry.
//   - pending vertices: a small mesh drawn by the fixed-function pipeline without lighting is transformed to
//     clip space right away and appended. One call draws them all as soon as anything but these changes
//     (or another texture or kind of primitive comes), with identity matrices and a colour per vertex.
//
// The picture is the one that separate draws would give: triangles, quads and lines stay what they are, in
// their order, and the transform rounds as OpenGL implementations do that compute "projection times
// model-view" first and then the sum of its columns times x, y, z, 1 from the left (Mesa's, bit for bit).
// Meshes that cross the border of the view are drawn by themselves, since clipping makes drivers take another
// path for the whole draw, which rounds differently. Meshes beyond the border are not drawn at all. Under a
// perspective camera only meshes of one colour are joined: colours of vertices would be interpolated there.
//
// Large draws, joined or not, go through shader programs that give the same picture (see drawprogram.h).
// Quads of joined meshes that show nothing but transparent texels, as blanks of a text do, are left out where
// blending and depth would let no pixel change.
//
// Rules for the engine's code:
//   - Code that draws calls Sync first, code that only changes what drawing depends on may call SyncState.
//     From there on OpenGL is as the script sees it. Code that changes a matrix, the colour, the texture,
//     lighting, blending, depth, culling or the logical operation by itself calls Adopt afterwards.
//   - Code that runs between the script's callbacks needs neither, since the host calls Sync after each. Only
//     the start of a frame, which resets matrices and render state, is followed by Adopt.
//   - Only the engine functions of scripts draw through here. The launcher uses OpenGL directly.

/// Render state that is set again only when its value differs. Each value is one int.
enum RenderState {
    RENDER_BLEND,         ///< 1 on, 0 off; so are the other switches
    RENDER_BLEND_FACTORS, ///< source << 16 | destination
    RENDER_DEPTH_TEST,
    RENDER_DEPTH_WRITE,
    RENDER_DEPTH_FUNCTION,
    RENDER_LOGIC,
    RENDER_LOGIC_OP,
    RENDER_CULLING,
    RENDER_STATE_COUNT
};

/// One pending vertex.
struct JoinVertex {
    float position[4]; ///< in clip space
    float colour[4];   ///< red, green, blue, alpha
    float texCoord[2]; ///< before the texture matrix
};

/// See the top of this file. Everything but the constructor needs the current OpenGL context.
class DrawJoin {
public:
    static constexpr int kMostMatrices = 128; ///< that a driver's stack may hold; usual are 32
    static constexpr int kMostPending = 2048; ///< vertices of one draw: more would leave the cache
    static constexpr int kMostOfAMesh = 512;  ///< vertices above which a mesh is drawn by itself

    DrawJoin();
    DrawJoin(const DrawJoin&) = delete;
    DrawJoin& operator=(const DrawJoin&) = delete;

    // For the engine.

    /// Starts with the current context: takes over its state, forgets what was pending in another one.
    /// @param withPrograms false when shader programs shall not be used for what has no shader
    void Reset(bool withPrograms = true);
    /// Deletes what was made in the current context, after drawing what is pending. No program is current
    /// then. Reset has to be called before anything is drawn again. May be called when the process ends and
    /// destroys what is static, this object included.
    void Release();
    /// Images of textures have been replaced.
    void ForgetTextures() { clearTexels.Reset(); }
    /// Back to the first entry of the matrix stack, for a script that failed on its way.
    void Unwind() {
        top = stack;
        privTopChanged();
    }
    /// Takes over OpenGL's state after code that changed it. Nothing may be pending: call Sync before that
    /// code. The stack keeps its depth; its top becomes OpenGL's model-view matrix.
    void Adopt();
    /// Draws what is pending and brings OpenGL to the state that the script has set.
    void Sync();
    /// Sync for code that neither draws nor looks at the depth buffer, which may still have to be cleared.
    void SyncState();
    /// The depth buffer has to be cleared before anything can see it. Clearing it costs a fifth of a small
    /// frame, which a script without depth test saves: the next frame clears it again.
    void OweDepthClear() { depthClearOwed = true; }
    /// Whether render state has to be set: true unless it is known to have that value already. What is
    /// pending has been drawn then, and the caller sets the value.
    bool Changes(RenderState state, int value);

    // What scripts change. Matrix operations act on the top as OpenGL's functions of that name do.

    /// Copies the top. On a full stack nothing happens but GL_STACK_OVERFLOW, which the next Sync raises.
    void Push() {
        if (top == last) {
            privStackFails(true);
            return;
        }
        top[1] = top[0];
        ++top;
    }
    /// Drops the top. At the bottom nothing happens but GL_STACK_UNDERFLOW, likewise.
    void Pop() {
        if (top == stack) {
            privStackFails(false);
            return;
        }
        --top;
        privTopChanged();
    }
    void Translate(float x, float y, float z) {
        float* m = top->m;
        for (int row = 0; row < 4; ++row)
            m[12 + row] = m[row] * x + m[4 + row] * y + m[8 + row] * z + m[12 + row];
        privTopChanged();
    }
    void Scale(float x, float y, float z) {
        float* m = top->m;
        for (int row = 0; row < 4; ++row) {
            m[row] *= x;
            m[4 + row] *= y;
            m[8 + row] *= z;
        }
        privTopChanged();
    }
    /// About the z axis, degrees counter-clockwise.
    void RotateZ(float degrees);
    /// @param degrees counter-clockwise about the axis (x, y, z) of any length; one shorter than 1e-4 turns
    ///                nothing
    void Rotate(float degrees, float x, float y, float z);
    void SetColour(float r, float g, float b, float a) {
        colour[0] = r;
        colour[1] = g;
        colour[2] = b;
        colour[3] = a;
    }
    /// @param name OpenGL's texture object, 0 for none. What is bound in OpenGL itself may have changed.
    void SetTexture(unsigned name) {
        texture = name;
        textureHeld = kUnknownTexture;
    }
    /// @param name a program that OpenGL accepts, or 0 for the fixed-function pipeline. Under a program every
    ///             mesh is drawn by itself.
    void SetProgram(unsigned name) { program = name; }

    // Drawing under the script's state.

    void Draw(Geometry& mesh);
    /// One line, as the free function DrawLine; a and b are x, y, z.
    void Line(const V3& a, const V3& b);

private:
    static constexpr unsigned kUnknownTexture = ~0u;

    void privTopChanged() {
        combinedValid = false;
        modelViewHeld = false;
    }
    /// Rotates about the axis that turns the column at from towards the one at to (indexes into m).
    void privTurn(float degrees, int from, int to);
    void privStackFails(bool overflow);
    void privRaiseStackError();
    void privFlush();
    void privPrepare();
    void privClearDepth();
    void privTouchDepth();
    void privPrepareJoined();
    void privLoadMatrices();
    void privBind(unsigned name);
    void privUseProgram(unsigned name);
    void privSetCurrentColour(const float* rgba);
    void privCombine();
    /// Appends vertices of Geometry's layout, or nothing when they are out of view.
    /// @return false when they must be drawn by themselves
    bool privJoin(unsigned primitive, const float* vertices, int count);
    void privDrawAlone(Geometry& mesh);
    int privState(RenderState state);
    bool privAlphaHides();
    /// Closes the gaps that invisible quads leave. @return how many vertices are left
    int privDropInvisible(JoinVertex* vertices, int count);

    Matrix stack[kMostMatrices];
    Matrix* top;                          // of stack
    Matrix* last;                         // the entry that OpenGL's stack would end with
    Matrix projection;                    // the script's
    Matrix combined;                      // projection * top, while combinedValid
    float colour[4];                      // the script's
    unsigned texture;                     // the script's
    bool combinedValid;                   // combined is that of the present top and projection
    bool modelViewHeld;                   // OpenGL's model-view matrix is the script's
    bool projectionHeld;                  // OpenGL's projection is the script's
    bool joinedHeld;                      // both matrices are identities, for what is pending
    bool perspective;                     // the projection gives vertices different w
    float colourHeld[4];                  // OpenGL's current colour
    bool colourKnown;                     // colourHeld is right
    bool lighting;                        // GL_LIGHTING is on
    unsigned program;                     // the script's
    unsigned programHeld;                 // current in OpenGL
    unsigned textureHeld;                 // bound in OpenGL; kUnknownTexture when that is not known
    unsigned stackError;                  // OpenGL's error to be raised, 0 for none
    int renderStates[RENDER_STATE_COUNT]; // values known to be set, -1 for unknown
    int pendingCount;
    unsigned pendingPrimitive; // of the pending vertices, like pendingTexture
    unsigned pendingTexture;
    bool depthClearOwed; // see OweDepthClear
    bool pendingColours; // the pending vertices differ in colour
    float viewport[2];   // width and height in pixels; 0 when not known
    DrawPrograms programs;
    ClearTexels clearTexels;
    unsigned short corners[kMostPending / 4 * 6]; // of the pending quads' triangles
    JoinVertex pending[kMostPending];
};

/// The state of the one OpenGL context that a script draws to. It belongs to the process as the context's
/// currency does: engine functions that work without a host reach it, too. A host resets it in its Init.
extern DrawJoin drawJoin;

// Joining of small draws: the script's matrices, colour and texture, the pending vertices, and how both reach
// OpenGL.
#include "drawjoin.h"

#include "geometry.h"
#include "opengl.h"
#include "shadering.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int kMeshFloats = 8; // of a vertex in Geometry's lists
constexpr float kShortestAxis = 1e-4f;
constexpr double kPi = 3.14159265358979323846;
constexpr int kUnknownState = -1;
constexpr int kFewestSifted = 16;        // vertices of a mesh whose quads are looked at one by one
constexpr float kTexelTolerance = 1e-5f; // in texture coordinates
constexpr float kFarthestCell = 1000;    // beyond, texture coordinates become too coarse for the tolerance
constexpr float kMipTolerance = 1.1f;    // drivers estimate how many texels there are to a pixel

const float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// Whether a clip-space position is in the view volume. One with a NaN is not.
bool inView(const float* position) {
    const float w = position[3];
    return (std::fabs(position[0]) <= w) & (std::fabs(position[1]) <= w) & (std::fabs(position[2]) <= w);
}

// The planes of the view volume that the position lies beyond, one bit each; the last says behind the eye.
unsigned planesBeyond(const float* position) {
    const float w = position[3];
    unsigned planes = w < 0 ? 1 : 0;
    for (int i = 0; i < 3; ++i)
        planes = planes << 2 | (position[i] > w ? 2 : 0) | (position[i] < -w ? 1 : 0);
    return planes;
}

// Whether one plane has all of the vertices beyond it.
bool outOfView(const JoinVertex* vertices, int count) {
    unsigned planes = ~0u;
    for (int i = 0; i < count; ++i)
        planes &= planesBeyond(vertices[i].position);
    return planes != 0;
}

// Makes clip-space positions, each the sum of the columns times x, y, z, 1 from the left: the order decides
// about the last bit.
// @return whether all of them are in view
bool transform(const float* matrix, const float* colour, const float* in, int count, JoinVertex* out) {
    float m[16], c[4]; // local: for all the compiler knows, a store through out could change the originals
    memcpy(m, matrix, sizeof(m));
    memcpy(c, colour, sizeof(c));
    bool inside = true;
    for (int i = 0; i < count; ++i, in += kMeshFloats, ++out) {
        const float x = in[0], y = in[1], z = in[2];
        for (int row = 0; row < 4; ++row)
            out->position[row] = m[row] * x + m[4 + row] * y + m[8 + row] * z + m[12 + row];
        memcpy(out->colour, c, sizeof(c));
        memcpy(out->texCoord, in + 6, sizeof(out->texCoord));
        inside &= inView(out->position);
    }
    return inside;
}

// How many texels of level 0 there are to a pixel in a triangle that is not in perspective, in the worse
// direction. One without an area, which shows nothing, has 0.
float texelsPerPixel(const JoinVertex& a, const JoinVertex& b, const JoinVertex& c, const float* viewport,
                     const ClearCells& cells) {
    const float x1 = (b.position[0] - a.position[0]) * viewport[0] / 2;
    const float y1 = (b.position[1] - a.position[1]) * viewport[1] / 2;
    const float x2 = (c.position[0] - a.position[0]) * viewport[0] / 2;
    const float y2 = (c.position[1] - a.position[1]) * viewport[1] / 2;
    const float s1 = (b.texCoord[0] - a.texCoord[0]) * static_cast<float>(cells.width);
    const float t1 = (b.texCoord[1] - a.texCoord[1]) * static_cast<float>(cells.height);
    const float s2 = (c.texCoord[0] - a.texCoord[0]) * static_cast<float>(cells.width);
    const float t2 = (c.texCoord[1] - a.texCoord[1]) * static_cast<float>(cells.height);
    const float area = x1 * y2 - x2 * y1;
    if (area == 0)
        return 0;
    const float alongX = std::hypot(s1 * y2 - s2 * y1, t1 * y2 - t2 * y1);
    const float alongY = std::hypot(s2 * x1 - s1 * x2, t2 * x1 - t1 * x2);
    return std::max(alongX, alongY) / std::fabs(area);
}

// The cell that holds a quad's part of the texture, -1 when it reaches into others. The engine's texture
// matrix turns the second coordinate over.
int cellOf(const JoinVertex* quad) {
    float low[2], high[2];
    for (int i = 0; i < 2; ++i) {
        const float at[4] = {quad[0].texCoord[i], quad[1].texCoord[i], quad[2].texCoord[i],
                             quad[3].texCoord[i]};
        const float least = std::min({at[0], at[1], at[2], at[3]});
        const float most = std::max({at[0], at[1], at[2], at[3]});
        low[i] = i == 0 ? least : -most;
        high[i] = i == 0 ? most : -least;
    }
    int index = 0;
    for (int i = 1; i >= 0; --i) {
        const float cell = std::floor((low[i] + high[i]) / 2 * ClearCells::kSide);
        if (!(low[i] >= cell / ClearCells::kSide - kTexelTolerance &&
              high[i] <= (cell + 1) / ClearCells::kSide + kTexelTolerance && std::fabs(cell) < kFarthestCell))
            return -1;
        index = index * ClearCells::kSide + (static_cast<int>(cell) & (ClearCells::kSide - 1));
    }
    return index;
}

// Whether a quad that is not in perspective shows nothing but transparent texels.
bool isClear(const JoinVertex* quad, const ClearCells& cells, const float* viewport) {
    const int cell = cellOf(quad);
    if (cell < 0 || cells.levels[cell] == 0)
        return false;
    const float texels = std::max(texelsPerPixel(quad[0], quad[1], quad[2], viewport, cells),
                                  texelsPerPixel(quad[0], quad[2], quad[3], viewport, cells));
    // Level n is the last one that is read where there are up to 2 to the nth texels to a pixel.
    return texels * kMipTolerance <= static_cast<float>(1 << (cells.levels[cell] - 1));
}

bool isWhite(const float* colour) {
    return colour[0] == 1 && colour[1] == 1 && colour[2] == 1 && colour[3] == 1;
}

float radians(float degrees) {
    return static_cast<float>(degrees * kPi / 180.0);
}

// Two columns turned into each other: (a, b) becomes (a cos + b sin, b cos - a sin).
void turnColumns(float* a, float* b, float sn, float cs) {
    for (int row = 0; row < 4; ++row) {
        const float before = a[row];
        a[row] = before * cs + b[row] * sn;
        b[row] = b[row] * cs - before * sn;
    }
}

// The rotation matrix of OpenGL's reference page for glRotate, columns first, for a unit axis.
void rotationColumns(float x, float y, float z, float sn, float cs, float r[9]) {
    const float t = 1.0f - cs;
    r[0] = t * (x * x) + cs;
    r[1] = t * (x * y) + z * sn;
    r[2] = t * (z * x) - y * sn;
    r[3] = t * (x * y) - z * sn;
    r[4] = t * (y * y) + cs;
    r[5] = t * (y * z) + x * sn;
    r[6] = t * (z * x) + y * sn;
    r[7] = t * (y * z) - x * sn;
    r[8] = t * (z * z) + cs;
}

} // namespace

DrawJoin drawJoin;

DrawJoin::DrawJoin()
    : top(stack), last(stack + kMostMatrices - 1), colour{1, 1, 1, 1}, texture(0), combinedValid(false),
      modelViewHeld(false), projectionHeld(false), joinedHeld(false),
      perspective(false), colourHeld{1, 1, 1, 1}, colourKnown(false), lighting(false), program(0),
      programHeld(0), textureHeld(kUnknownTexture), stackError(0), pendingCount(0), pendingPrimitive(0),
      pendingTexture(0), depthClearOwed(false), pendingColours(false), viewport{} {
    const unsigned short order[6] = {0, 1, 2, 0, 2, 3}; // as Mesa divides a quad
    for (int i = 0; i < kMostPending / 4 * 6; ++i)
        corners[i] = static_cast<unsigned short>(i / 6 * 4 + order[i % 6]);
    std::fill_n(renderStates, static_cast<int>(RENDER_STATE_COUNT), kUnknownState);
}

// ---- The state in OpenGL ----

void DrawJoin::Reset(bool withPrograms) {
    GLint deepest = kMostMatrices;
    glGetIntegerv(GL_MAX_MODELVIEW_STACK_DEPTH, &deepest);
    top = stack;
    last = stack + std::clamp(deepest, 1, kMostMatrices) - 1;
    pendingCount = 0;
    stackError = 0;
    depthClearOwed = false;
    program = programHeld = 0;
    programs.Reset(withPrograms);
    clearTexels.Reset();
    Adopt();
}

void DrawJoin::Release() {
    Sync();
    program = 0;
    privUseProgram(0);
    programs.Release();
}

void DrawJoin::Adopt() {
    glGetFloatv(GL_MODELVIEW_MATRIX, top->m);
    glGetFloatv(GL_PROJECTION_MATRIX, projection.m);
    const float* p = projection.m;
    perspective = p[3] != 0 || p[7] != 0 || p[11] != 0 || p[15] != 1;
    glGetFloatv(GL_CURRENT_COLOR, colour);
    std::copy_n(colour, 4, colourHeld);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    texture = textureHeld = static_cast<unsigned>(bound);
    lighting = glIsEnabled(GL_LIGHTING);
    modelViewHeld = projectionHeld = colourKnown = true;
    joinedHeld = false;
    combinedValid = false;
    std::fill_n(renderStates, static_cast<int>(RENDER_STATE_COUNT), kUnknownState);
}

void DrawJoin::Sync() {
    SyncState();
    privClearDepth();
}

// OpenGL clears only what may be written.
void DrawJoin::privClearDepth() {
    if (!depthClearOwed)
        return;
    depthClearOwed = false;
    const bool writes = privState(RENDER_DEPTH_WRITE) != 0;
    if (!writes)
        glDepthMask(GL_TRUE);
    glClear(GL_DEPTH_BUFFER_BIT);
    if (!writes)
        glDepthMask(GL_FALSE);
}

// Before a draw: without depth test the buffer is neither read nor written.
void DrawJoin::privTouchDepth() {
    if (depthClearOwed && privState(RENDER_DEPTH_TEST) != 0)
        privClearDepth();
}

void DrawJoin::SyncState() {
    privPrepare();
    privUseProgram(program);
    viewport[0] = viewport[1] = 0; // whoever needs OpenGL may change it
}

// Sync for the drawing here, which leaves alone what it does not depend on.
void DrawJoin::privPrepare() {
    privFlush();
    if (stackError)
        privRaiseStackError();
    privLoadMatrices();
    privSetCurrentColour(colour);
    privBind(texture);
}

bool DrawJoin::Changes(RenderState state, int value) {
    if (renderStates[state] == value)
        return false;
    privFlush();
    renderStates[state] = value;
    return true;
}

void DrawJoin::privBind(unsigned name) {
    if (textureHeld == name)
        return;
    glBindTexture(GL_TEXTURE_2D, name);
    textureHeld = name;
}

void DrawJoin::privUseProgram(unsigned name) {
    if (programHeld == name)
        return;
    glUseProgramObjectARB_PTR(name);
    programHeld = name;
}

// Drivers keep half a megabyte for attributes that are set one by one, from the first one on: a colour that
// is set already is not worth it.
void DrawJoin::privSetCurrentColour(const float* rgba) {
    if (colourKnown && memcmp(colourHeld, rgba, sizeof(colourHeld)) == 0)
        return;
    glColor4fv(rgba);
    std::copy_n(rgba, 4, colourHeld);
    colourKnown = true;
}

void DrawJoin::privPrepareJoined() {
    if (joinedHeld)
        return;
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    modelViewHeld = projectionHeld = false;
    joinedHeld = true;
}

void DrawJoin::privLoadMatrices() {
    if (!projectionHeld) {
        glMatrixMode(GL_PROJECTION);
        glLoadMatrixf(projection.m);
        glMatrixMode(GL_MODELVIEW);
    }
    if (!modelViewHeld)
        glLoadMatrixf(top->m);
    modelViewHeld = projectionHeld = true;
    joinedHeld = false;
}

// ---- The script's matrices ----

// OpenGL keeps its first error until someone asks for it, so the later ones do not count.
void DrawJoin::privStackFails(bool overflow) {
    if (stackError == 0)
        stackError = overflow ? GL_STACK_OVERFLOW : GL_STACK_UNDERFLOW;
}

// Does to OpenGL's own stack, which has one entry, what the script has done to its own.
void DrawJoin::privRaiseStackError() {
    GLint deepest = 0;
    glGetIntegerv(GL_MAX_MODELVIEW_STACK_DEPTH, &deepest);
    const int pushes = stackError == GL_STACK_OVERFLOW ? deepest : 0;
    for (int i = 0; i < pushes; ++i)
        glPushMatrix();
    for (int i = 1; i < pushes; ++i)
        glPopMatrix();
    if (stackError == GL_STACK_UNDERFLOW)
        glPopMatrix();
    stackError = 0;
}

void DrawJoin::RotateZ(float degrees) {
    privTurn(degrees, 0, 4);
}

void DrawJoin::privTurn(float degrees, int from, int to) {
    const float angle = radians(degrees);
    turnColumns(top->m + from, top->m + to, std::sin(angle), std::cos(angle));
    privTopChanged();
}

void DrawJoin::Rotate(float degrees, float x, float y, float z) {
    // About one of the three axes no product of the general formula is rounded away.
    if (x == 0 && y == 0 && z != 0)
        return privTurn(z < 0 ? -degrees : degrees, 0, 4);
    if (y == 0 && z == 0 && x != 0)
        return privTurn(x < 0 ? -degrees : degrees, 4, 8);
    if (x == 0 && z == 0 && y != 0)
        return privTurn(y < 0 ? -degrees : degrees, 8, 0);
    const float length = std::sqrt(x * x + y * y + z * z);
    if (!(length > kShortestAxis))
        return;
    const float angle = radians(degrees);
    float r[9];
    rotationColumns(x / length, y / length, z / length, std::sin(angle), std::cos(angle), r);
    float* m = top->m;
    privTopChanged();
    for (int row = 0; row < 4; ++row) {
        const float a = m[row], b = m[4 + row], c = m[8 + row];
        for (int column = 0; column < 3; ++column)
            m[4 * column + row] = a * r[3 * column] + b * r[3 * column + 1] + c * r[3 * column + 2];
    }
}

void DrawJoin::privCombine() {
    const float* p = projection.m;
    for (int column = 0; column < 16; column += 4) {
        const float* m = top->m + column;
        for (int row = 0; row < 4; ++row)
            combined.m[column + row] =
                p[row] * m[0] + p[4 + row] * m[1] + p[8 + row] * m[2] + p[12 + row] * m[3];
    }
    combinedValid = true;
}

// ---- Drawing ----

void DrawJoin::Draw(Geometry& mesh) {
    const bool onlyQuads = mesh.triCount == 0 && mesh.quadCount > 0 && mesh.quadCount <= kMostOfAMesh / 4;
    const bool onlyTris = mesh.quadCount == 0 && mesh.triCount > 0 && mesh.triCount <= kMostOfAMesh / 3;
    if (onlyQuads && privJoin(GL_QUADS, mesh.quadData, 4 * mesh.quadCount))
        return;
    if (onlyTris && privJoin(GL_TRIANGLES, mesh.triData, 3 * mesh.triCount))
        return;
    privDrawAlone(mesh);
}

void DrawJoin::privDrawAlone(Geometry& mesh) {
    privPrepare();
    privTouchDepth();
    const bool plain = lighting || program != 0 || mesh.quadCount > 0;
    const DrawKind kind = {texture != 0, isWhite(colour), perspective};
    privUseProgram(plain ? program : programs.For(kind, 3 * mesh.triCount));
    mesh.Draw();
}

void DrawJoin::Line(const V3& a, const V3& b) {
    const float ends[2 * kMeshFloats] = {a.x, a.y, a.z, 0, 0, 0, 0, 0, b.x, b.y, b.z, 0, 0, 0, 0, 0};
    if (privJoin(GL_LINES, ends, 2))
        return;
    Sync();
    DrawLine(ends, ends + kMeshFloats);
}

bool DrawJoin::privJoin(unsigned primitive, const float* vertices, int count) {
    if (lighting || program)
        return false;
    const bool otherColour = memcmp(colour, pending->colour, sizeof(colour)) != 0;
    if (primitive != pendingPrimitive || texture != pendingTexture || count > kMostPending - pendingCount ||
        (perspective && otherColour))
        privFlush();
    pendingPrimitive = primitive;
    pendingTexture = texture;
    pendingColours = pendingCount > 0 && (pendingColours || otherColour);
    if (!combinedValid)
        privCombine();
    JoinVertex* added = pending + pendingCount;
    if (transform(combined.m, colour, vertices, count, added)) {
        pendingCount += primitive == GL_QUADS ? privDropInvisible(added, count) : count;
        return true;
    }
    return primitive != GL_LINES && outOfView(added, count); // a line's width may reach into the view
}

int DrawJoin::privState(RenderState state) {
    if (renderStates[state] != kUnknownState)
        return renderStates[state];
    const unsigned names[RENDER_STATE_COUNT] = {
        GL_BLEND, 0, GL_DEPTH_TEST, GL_DEPTH_WRITEMASK, GL_DEPTH_FUNC, GL_COLOR_LOGIC_OP, 0, GL_CULL_FACE};
    GLint value = kUnknownState;
    if (names[state] != 0)
        glGetIntegerv(names[state], &value);
    return renderStates[state] = value;
}

// Whether a fragment of alpha 0 changes nothing. Blend factors that the script has not set count as others.
bool DrawJoin::privAlphaHides() {
    const int factors = renderStates[RENDER_BLEND_FACTORS];
    return (factors == (GL_SRC_ALPHA << 16 | GL_ONE_MINUS_SRC_ALPHA) ||
            factors == (GL_SRC_ALPHA << 16 | GL_ONE)) &&
           privState(RENDER_BLEND) == 1 && privState(RENDER_LOGIC) == 0 &&
           (privState(RENDER_DEPTH_TEST) == 0 || privState(RENDER_DEPTH_WRITE) == 0) &&
           std::isfinite(colour[3]);
}

int DrawJoin::privDropInvisible(JoinVertex* vertices, int count) {
    if (count < kFewestSifted || texture == 0 || perspective || !privAlphaHides())
        return count;
    privBind(texture);
    const ClearCells& cells = clearTexels.Of(texture);
    if (!cells.any)
        return count;
    if (viewport[0] == 0) {
        GLfloat at[4];
        glGetFloatv(GL_VIEWPORT, at);
        viewport[0] = at[2];
        viewport[1] = at[3];
    }
    int kept = 0;
    for (int i = 0; i < count; i += 4) {
        if (isClear(vertices + i, cells, viewport))
            continue;
        if (kept != i)
            memcpy(vertices + kept, vertices + i, 4 * sizeof(JoinVertex));
        kept += 4;
    }
    return kept;
}

// Vertices of one colour share OpenGL's current colour as in a draw by itself. That is faster, and in
// perspective the rasteriser would round even equal colours of vertices.
void DrawJoin::privFlush() {
    if (pendingCount == 0)
        return;
    privTouchDepth();
    privPrepareJoined();
    privBind(pendingTexture);
    const bool white = !pendingColours && isWhite(pending->colour);
    privUseProgram(programs.For({pendingTexture != 0, white, perspective}, pendingCount));
    glVertexPointer(4, GL_FLOAT, sizeof(JoinVertex), pending->position);
    glTexCoordPointer(2, GL_FLOAT, sizeof(JoinVertex), pending->texCoord);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    if (pendingColours) {
        glColorPointer(4, GL_FLOAT, sizeof(JoinVertex), pending->colour);
        glEnableClientState(GL_COLOR_ARRAY);
    } else {
        privSetCurrentColour(pending->colour);
    }
    if (programHeld != 0 && pendingPrimitive == GL_QUADS)
        glDrawElements(GL_TRIANGLES, pendingCount / 4 * 6, GL_UNSIGNED_SHORT, corners);
    else
        glDrawArrays(pendingPrimitive, 0, pendingCount);
    ++drawCalls;
    glDisableClientState(GL_VERTEX_ARRAY);
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    glDisableClientState(GL_COLOR_ARRAY);
    pendingCount = 0;
    colourKnown = colourKnown && !pendingColours; // a colour array leaves the current colour undefined
}

// Joining of small draws: the script's matrices, colour and texture, the pending vertices, and how both reach
// OpenGL.
#include "drawjoin.h"

#include "geometry.h"
#include "opengl.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int kMeshFloats = 8; // of a vertex in Geometry's lists
constexpr float kShortestAxis = 1e-4f;
constexpr double kPi = 3.14159265358979323846;
constexpr int kUnknownState = -1;

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
      modelViewHeld(false), projectionHeld(false), joinedHeld(false), perspective(false), colourHeld(false),
      lighting(false), shaderBound(false), textureHeld(kUnknownTexture), stackError(0), pendingCount(0),
      pendingPrimitive(0), pendingTexture(0), pendingColours(false) {
    std::fill_n(renderStates, static_cast<int>(RENDER_STATE_COUNT), kUnknownState);
}

// ---- The state in OpenGL ----

void DrawJoin::Reset() {
    GLint deepest = kMostMatrices;
    glGetIntegerv(GL_MAX_MODELVIEW_STACK_DEPTH, &deepest);
    top = stack;
    last = stack + std::clamp(deepest, 1, kMostMatrices) - 1;
    pendingCount = 0;
    stackError = 0;
    shaderBound = false;
    Adopt();
}

void DrawJoin::Adopt() {
    glGetFloatv(GL_MODELVIEW_MATRIX, top->m);
    glGetFloatv(GL_PROJECTION_MATRIX, projection.m);
    const float* p = projection.m;
    perspective = p[3] != 0 || p[7] != 0 || p[11] != 0 || p[15] != 1;
    glGetFloatv(GL_CURRENT_COLOR, colour);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    texture = textureHeld = static_cast<unsigned>(bound);
    lighting = glIsEnabled(GL_LIGHTING);
    modelViewHeld = projectionHeld = colourHeld = true;
    joinedHeld = false;
    combinedValid = false;
    std::fill_n(renderStates, static_cast<int>(RENDER_STATE_COUNT), kUnknownState);
}

void DrawJoin::Sync() {
    privFlush();
    if (stackError)
        privRaiseStackError();
    privLoadMatrices();
    if (!colourHeld)
        glColor4fv(colour);
    colourHeld = true;
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
    Sync();
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
    if (lighting || shaderBound)
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
        pendingCount += count;
        return true;
    }
    return primitive != GL_LINES && outOfView(added, count); // a line's width may reach into the view
}

// Vertices of one colour share OpenGL's current colour as in a draw by itself. That is faster, and in
// perspective the rasteriser would round even equal colours of vertices.
void DrawJoin::privFlush() {
    if (pendingCount == 0)
        return;
    privPrepareJoined();
    privBind(pendingTexture);
    glVertexPointer(4, GL_FLOAT, sizeof(JoinVertex), pending->position);
    glTexCoordPointer(2, GL_FLOAT, sizeof(JoinVertex), pending->texCoord);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    if (pendingColours) {
        glColorPointer(4, GL_FLOAT, sizeof(JoinVertex), pending->colour);
        glEnableClientState(GL_COLOR_ARRAY);
    } else {
        glColor4fv(pending->colour);
    }
    glDrawArrays(pendingPrimitive, 0, pendingCount);
    glDisableClientState(GL_VERTEX_ARRAY);
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    glDisableClientState(GL_COLOR_ARRAY);
    pendingCount = 0;
    colourHeld = false; // a colour array leaves the current colour undefined
}

// Meshes in memory and on the graphics card: the binary mesh format, merging, uploading and drawing, and the
// immediate-mode lines. The entry points of the vertex buffers belong to this file.
#include "geometry.h"

#include "opengl.h"
#include "tnmath.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kVertexFloats = 8;
constexpr int kVertexBytes = 32;
constexpr int kTriBytes = 3 * kVertexBytes;
constexpr int kQuadBytes = 4 * kVertexBytes;

/// Sets a list's length. @return false, with an unchanged list, when there is no room for that.
bool resizeList(DataBlock& list, int count, int faceBytes) {
    if (count > INT_MAX / faceBytes)
        return false;
    list.Resize(count * faceBytes);
    return list.Len() == count * faceBytes;
}

/// Appends one list to another or to itself. @return false, with nothing changed, when there is no room.
bool appendList(DataBlock& to, DataBlock& from) {
    const int64_t wanted = static_cast<int64_t>(to.Len()) + from.Len();
    to.Append(&from);
    return to.Len() == wanted;
}

/// Half a gigabyte: a mesh that is merged into itself over and over doubles each time.
constexpr int64_t kMostMergedVertices = 1 << 24;

int64_t vertexCount(const Geometry& mesh) {
    return int64_t{3} * mesh.triCount + int64_t{4} * mesh.quadCount;
}

// ---- the binary mesh format

constexpr int64_t kHeaderBytes = 12;
constexpr int64_t kCountBytes = 4;
constexpr int64_t kTableVertexBytes = 24;
constexpr int64_t kTriRecordBytes = 13 + 3 * 12;
constexpr int64_t kQuadRecordBytes = 13 + 4 * 12;

/// What the counts of a mesh record say, once they have been found to agree with the data.
struct BufferRecord {
    int vertexCount = 0;
    int vertexTable = 0; // byte position of vertex 0
    int triCount = 0;
    int quadCount = 0;
};

/// Reads the counts of the record at pos and moves pos to its first face.
/// @return false when a count is negative or announces more than the data holds
bool readCounts(DataBlock* data, int& pos, BufferRecord& record) {
    const int64_t size = data->Len();
    if (pos < 0 || pos + kHeaderBytes + kCountBytes > size)
        return false;
    data->SkipData(&pos, "fff", 1);
    data->GetData(&pos, "i", &record.vertexCount);
    record.vertexTable = pos;
    const int64_t tableEnd = pos + kTableVertexBytes * record.vertexCount;
    if (record.vertexCount < 0 || tableEnd + 2 * kCountBytes > size)
        return false;
    data->SkipData(&pos, "ffffff", record.vertexCount);
    data->GetData(&pos, "ii", &record.triCount, &record.quadCount);
    return record.triCount >= 0 && record.quadCount >= 0 &&
           pos + kTriRecordBytes * record.triCount + kQuadRecordBytes * record.quadCount <= size;
}

/// Reads one corner at pos into the 8 floats of vertex.
void readCorner(DataBlock* data, int& pos, const BufferRecord& record, const float* flatNormal,
                float* vertex) {
    int index = 0;
    data->GetData(&pos, "iff", &index, vertex + 6, vertex + 7);
    memset(vertex, 0, 6 * sizeof(float));
    if (index >= 0 && index < record.vertexCount) {
        int vertexPos = record.vertexTable + static_cast<int>(kTableVertexBytes) * index;
        data->GetData(&vertexPos, "ffffff", vertex, vertex + 1, vertex + 2, vertex + 3, vertex + 4,
                      vertex + 5);
    }
    if (flatNormal)
        memcpy(vertex + 3, flatNormal, 3 * sizeof(float));
}

void readFaces(DataBlock* data, int& pos, const BufferRecord& record, int faceCount, int corners,
               float* out) {
    for (int face = 0; face < faceCount; ++face) {
        char smooth = 0;
        float normal[3];
        data->GetData(&pos, "cfff", &smooth, normal, normal + 1, normal + 2);
        for (int corner = 0; corner < corners; ++corner, out += kVertexFloats)
            readCorner(data, pos, record, smooth ? nullptr : normal, out);
    }
}

// ---- vertex buffers

PFNGLGENBUFFERSARBPROC genBuffers = nullptr;
PFNGLBINDBUFFERARBPROC bindBuffer = nullptr;
PFNGLDELETEBUFFERSARBPROC deleteBuffers = nullptr;
PFNGLBUFFERDATAARBPROC bufferData = nullptr;

/// Fetches the entry points unless they are there already. Says once when the driver lacks any of them.
bool vertexBuffersAvailable() {
    static bool reported = false;
    if (genBuffers)
        return true;
    fetchGlFunction(genBuffers, "glGenBuffersARB");
    fetchGlFunction(bindBuffer, "glBindBufferARB");
    fetchGlFunction(deleteBuffers, "glDeleteBuffersARB");
    fetchGlFunction(bufferData, "glBufferDataARB");
    if (genBuffers && bindBuffer && deleteBuffers && bufferData)
        return true;
    genBuffers = nullptr; // stands for all four
    if (!reported)
        printf("ERR: vertex buffers not available, drawing from memory\n");
    reported = true;
    return false;
}

/// Uploads a vertex list, into a new buffer object when buffer is 0, and leaves the buffer bound.
void upload(unsigned int& buffer, DataBlock& list, GLenum usage) {
    if (buffer == 0)
        genBuffers(1, &buffer);
    bindBuffer(GL_ARRAY_BUFFER_ARB, buffer);
    bufferData(GL_ARRAY_BUFFER_ARB, list.Len(), list.Ptr(), usage);
}

/// Draws a vertex list from its buffer object, or from memory when it has none.
void drawList(unsigned int buffer, const float* memory, GLenum mode, int vertexCount) {
    const uintptr_t base = buffer ? 0 : reinterpret_cast<uintptr_t>(memory);
    if (buffer)
        bindBuffer(GL_ARRAY_BUFFER_ARB, buffer);
    glVertexPointer(3, GL_FLOAT, kVertexBytes, reinterpret_cast<const void*>(base));
    glNormalPointer(GL_FLOAT, kVertexBytes, reinterpret_cast<const void*>(base + 12));
    glTexCoordPointer(2, GL_FLOAT, kVertexBytes, reinterpret_cast<const void*>(base + 24));
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    glEnableClientState(GL_NORMAL_ARRAY);
    glDrawArrays(mode, 0, vertexCount);
    ++drawCalls;
    glDisableClientState(GL_VERTEX_ARRAY);
    glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    glDisableClientState(GL_NORMAL_ARRAY);
    if (buffer)
        bindBuffer(GL_ARRAY_BUFFER_ARB, 0);
}

} // namespace

unsigned long drawCalls = 0;

// ---- Geometry

Geometry::Geometry()
    : triData(nullptr), quadData(nullptr), triCount(0), quadCount(0), needsCompile(false), dynamic(false),
      triBuffer(0), quadBuffer(0) {}

Geometry::~Geometry() {
    if (!glContextActive())
        return; // the context has gone first and took the buffers with it
    if (quadBuffer)
        deleteBuffers(1, &quadBuffer);
    if (triBuffer)
        deleteBuffers(1, &triBuffer);
}

void Geometry::LoadFromBufferSegment(DataBlock* data, int* pos) {
    int at = *pos;
    BufferRecord record;
    if (!readCounts(data, at, record) || !resizeList(tris, record.triCount, kTriBytes) ||
        !resizeList(quads, record.quadCount, kQuadBytes)) {
        record = BufferRecord();
        at = data->Len();
        tris.Delete();
        quads.Delete();
    }
    triCount = record.triCount;
    quadCount = record.quadCount;
    privRefreshData();
    readFaces(data, at, record, triCount, 3, triData);
    readFaces(data, at, record, quadCount, 4, quadData);
    *pos = at;
    needsCompile = true;
}

void Geometry::Compile() {
    if (!vertexBuffersAvailable())
        return;
    const GLenum usage = dynamic ? GL_DYNAMIC_DRAW_ARB : GL_STATIC_DRAW_ARB;
    upload(triBuffer, tris, usage);
    upload(quadBuffer, quads, usage);
    bindBuffer(GL_ARRAY_BUFFER_ARB, 0);
}

void Geometry::Draw() {
    if (needsCompile) {
        needsCompile = false;
        Compile();
    }
    if (triCount > 0)
        drawList(triBuffer, triData, GL_TRIANGLES, 3 * triCount);
    if (quadCount > 0)
        drawList(quadBuffer, quadData, GL_QUADS, 4 * quadCount);
}

void Geometry::AddGeometry(Geometry* other, Matrix* transform, Matrix* texTransform) {
    if (!other)
        return;
    const int64_t vertices = vertexCount(*this) + vertexCount(*other);
    if (vertices > kMostMergedVertices) {
        printf("ERR: mesh not placed, %lld vertices are too many\n", static_cast<long long>(vertices));
        return;
    }
    const int oldTriBytes = tris.Len();
    const int oldQuadBytes = quads.Len();
    const int addedTris = other->triCount;
    const int addedQuads = other->quadCount;
    const bool appended = appendList(tris, other->tris) && appendList(quads, other->quads);
    privRefreshData();
    if (!appended) {
        tris.Resize(oldTriBytes);
        return;
    }
    transform->TransformBuf(tris.Ptr(), oldTriBytes, 3 * addedTris, kVertexBytes, texTransform);
    transform->TransformBuf(quads.Ptr(), oldQuadBytes, 4 * addedQuads, kVertexBytes, texTransform);
    triCount += addedTris;
    quadCount += addedQuads;
    needsCompile = true;
}

bool Geometry::privAddFace(const float* vertices, int corners) {
    FloatDataBlock& list = corners == 3 ? tris : quads;
    const int oldBytes = list.Len();
    list.Append(reinterpret_cast<const unsigned char*>(vertices), corners * kVertexBytes);
    if (list.Len() == oldBytes)
        return false;
    (corners == 3 ? triCount : quadCount) += 1;
    privRefreshData();
    return true;
}

void Geometry::privRefreshData() {
    triData = reinterpret_cast<float*>(tris.Ptr());
    quadData = reinterpret_cast<float*>(quads.Ptr());
}

// ---- lines and numbers

void DrawLine(const float* a, const float* b) {
    glLineWidth(1.0f);
    glBegin(GL_LINES);
    glVertex3f(a[0], a[1], a[2]);
    glVertex3f(b[0], b[1], b[2]);
    glEnd();
    ++drawCalls;
}

void DrawLine(float x1, float y1, float z1, float x2, float y2, float z2) {
    const float a[3] = {x1, y1, z1};
    const float b[3] = {x2, y2, z2};
    DrawLine(a, b);
}

float stringToFloat(const char* s) {
    return static_cast<float>(atof(s));
}

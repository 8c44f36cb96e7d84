// Meshes: reading them from OBJ text and from the binary mesh format, building them from text, merging and
// drawing them. A Geometry owns its vertex lists and its two OpenGL buffer objects.
//
// A mesh is two flat vertex lists, one of triangles and one of quads, without an index: shared corners are
// repeated. A vertex is 8 floats (32 bytes) in both lists:
//
//     0-2 position x y z | 3-5 normal x y z | 6-7 texture coordinate u v
//
// so a triangle takes 96 bytes and a quad 128. Whoever changes a list sets needsCompile; the next Draw then
// uploads both lists, once, and draws each with a single call from its buffer object. Where the driver has no
// buffer objects, Draw reads the lists from memory.
//
// An OBJ file holds several objects, a Geometry holds one. Reading a whole file is a loop over one block, one
// position and one store of collected attributes (faces count records from the start of the file):
//
//     DataBlock file;
//     file.ReadFile("rocks.obj");
//     ObjCollectedVertData collected;
//     int pos = 0;
//     bool atEnd = false;
//     while (!atEnd) {
//         Geometry* mesh = new Geometry;
//         atEnd = mesh->LoadOBJFileSegment(&file, &pos, &collected, name);  // char name[32]
//     }
#pragma once

#include "datablock.h"

class Matrix;
struct FontProps;
struct GeomTextParams;

/// The vertex attributes of one OBJ file, in file order. Shared by all meshes that are read from the file.
struct ObjCollectedVertData {
    FloatDataBlock positions; // 3 floats for each "v" record
    FloatDataBlock texCoords; // 2 floats for each "vt" record
    FloatDataBlock normals;   // 3 floats for each "vn" record
    int smooth = 0;           // state of the last "s" record: 0 off, 1 on; changes no mesh
};

/// One mesh. Compile, Draw and the destructor of a compiled mesh need a current OpenGL context; nothing else
/// does. No operation reports an error: what cannot be read is left out, and so are faces for which a block
/// has no room.
class Geometry {
public:
    FloatDataBlock tris;  // triCount x 3 vertices
    float* triData;       // start of the bytes of tris; null until there have been some
    FloatDataBlock quads; // quadCount x 4 vertices
    float* quadData;      // start of the bytes of quads; null until there have been some
    int triCount;
    int quadCount;
    bool needsCompile;       // the lists differ from what was uploaded
    bool copied = false;     // another mesh has been given a copy of its faces by GeometryManager::Place
    bool dynamic;            // usage hint for the next upload: false static draw, true dynamic draw
    unsigned int triBuffer;  // buffer object of tris, owned; 0 = none yet
    unsigned int quadBuffer; // buffer object of quads, owned; 0 = none yet

    /// An empty mesh that needs no OpenGL.
    Geometry();
    /// Deletes the buffer objects, if there are any.
    ~Geometry();
    Geometry(const Geometry&) = delete;
    Geometry& operator=(const Geometry&) = delete;

    /// Reads OBJ text from *pos up to the line of the next object ("o" or "g") or to the end, and appends its
    /// faces of 3 or 4 corners; faces with other numbers of corners are skipped. Faces may precede the object
    /// line, which then only gives the name. A face and a comment end with their line, blanks at its end or
    /// not; an object's name and numbers are taken from the next lines when their own is too short. Every
    /// call advances *pos unless it is at the end already.
    /// @param pos  byte position in data; left where the next object begins
    /// @param collected  the file's attributes so far; indices that it does not hold read as zeros
    /// @param name  may be null; else at least 32 bytes, receives the object's name in lower case without its
    ///              last "_" part ("Big_Rock_01" gives "big_rock"); untouched when there is no object line
    /// @return true when the end of the data was reached
    bool LoadOBJFileSegment(DataBlock* data, int* pos, ObjCollectedVertData* collected, char* name);

    /// Replaces the vertex lists with one mesh record of the binary format (little-endian):
    ///
    ///     3 floats (ignored), int V, V x { position 3 floats, normal 3 floats },
    ///     int T, int Q, T triangles and then Q quads, each
    ///         { byte smooth, face normal 3 floats, corners 3 or 4 x { int vertex, float u, float v } }
    ///
    /// A corner takes the vertex's normal when smooth is not 0, else the face normal; a vertex outside 0..V-1
    /// reads as zeros. *pos is left behind the record. Counts that are negative or promise more than data
    /// holds leave the mesh empty and *pos at the end.
    void LoadFromBufferSegment(DataBlock* data, int* pos);

    /// Uploads both lists, creating the buffer objects on first use. When the driver has no buffer objects,
    /// prints "ERR: vertex buffers not available, drawing from memory" once and leaves triBuffer and
    /// quadBuffer 0.
    void Compile();

    /// Compiles if needed, then draws triangles and quads under the state that the caller has set.
    void Draw();

    /// Appends other's faces to this mesh, transformed; other may be this mesh, or null (nothing happens).
    /// More than 16,777,216 vertices are refused with one line.
    /// @param transform  applied to positions, its 3x3 part to normals (not renormalised); not null
    /// @param texTransform  its 2D part is applied to texture coordinates; null leaves them alone
    void AddGeometry(Geometry* other, Matrix* transform, Matrix* texTransform);

    /// Appends one quad for each character of text but the line breaks. Meant for an empty mesh: aligning and
    /// moving lines up act on quads that were there before as well. A null text or font makes nothing.
    /// @param params  null means left-aligned without extra spacing, as a default GeomTextParams
    void CreateText(const char* text, FontProps* font, GeomTextParams* params);

    /// Appends one face: 3 corners to tris, 4 to quads, 8 floats each.
    /// @return false when the list is full; nothing is changed then
    bool privAddFace(const float* vertices, int corners);
    /// Points triData and quadData at their blocks again, after anything that may have moved the storage.
    void privRefreshData();
};

/// The metrics of a bitmap font whose texture has 16 x 16 cells, one for each character code, row by row from
/// the top. Text units: a cell is 1 unit high and wide.
struct FontProps {
    float widths[256]; // width of the glyph, of its quad and of the pen's advance, by unsigned character code
    float offsets[256]; // how far the glyph's centre lies right of its cell's centre

    /// The metrics of the engine's own font.
    FontProps();
};

/// How CreateText lays out its lines.
struct GeomTextParams {
    int align = 1;         // 1 or more: left; -1: right; 0 and other negative values: centred
    float spacing = 0;     // extra advance after every character, in text units
    float lineSpacing = 0; // lines are 0.75 + lineSpacing text units apart
};

/// Reads the first object of the OBJ file at path into geom. A file that cannot be read adds nothing.
void LoadObjFileSingle(Geometry* geom, const char* path);

/// Calls of OpenGL that drew meshes, joined meshes or lines, since the program started. For those who show
/// costs.
extern unsigned long drawCalls;

/// Draws one line of width 1 in immediate mode under the current state; a and b are x, y, z.
void DrawLine(const float* a, const float* b);
void DrawLine(float x1, float y1, float z1, float x2, float y2, float z2);

/// The number at the start of s, as atof reads it: 0 when there is none, infinity beyond the range of a
/// float.
float stringToFloat(const char* s);

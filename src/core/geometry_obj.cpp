// Reading OBJ text into meshes. The text is untrusted: every read stays in the block, every index is checked,
// and the time taken is linear in the text's size whatever it holds.
#include "geometry.h"

#include "strfuncs.h"

#include <cstdint>
#include <cstring>

namespace {

/// Walks a block word by word, knowing where a word began and whether its line ended.
class WordReader {
public:
    char word[32] = {}; // the word read last: at most 31 characters, empty at the end of the data

    WordReader(DataBlock* source, int start) : data(source), pos(start < 0 ? 0 : start) {}

    /// Reads the next word, on whichever line it is.
    const char* Next() {
        SkipBlanks(true);
        wordStart = pos;
        lineEnded = data->GetData(&pos, "w", word);
        return word;
    }

    /// Tells whether nothing but blanks follows the last word on its line, and skips those blanks.
    bool AtLineEnd() {
        if (lineEnded)
            return true;
        SkipBlanks(false);
        return AtEnd() || IsBreak(Bytes()[pos]);
    }

    /// Leaves the last word's line. A word that ended its line has left it already.
    void SkipLine() {
        if (!lineEnded)
            data->SkipToNextLine(&pos);
    }

    bool AtEnd() { return pos >= data->Len(); }
    int Pos() { return pos; }

    /// Where the line of the last word begins. Looks back no further than limit; without a line break between
    /// limit and the word the answer is where the word begins.
    int LineStart(int limit) {
        int start = wordStart;
        while (start > limit && !IsBreak(Bytes()[start - 1]))
            --start;
        return start == 0 || IsBreak(Bytes()[start - 1]) ? start : wordStart;
    }

private:
    DataBlock* data;
    int pos;
    int wordStart = 0;
    bool lineEnded = false; // the last word's line break was consumed with it

    const unsigned char* Bytes() { return data->Ptr(); }
    static bool IsBreak(unsigned char c) { return c == '\n' || c == '\r'; }

    void SkipBlanks(bool breaksToo) {
        while (!AtEnd() && (Bytes()[pos] == ' ' || (breaksToo && IsBreak(Bytes()[pos]))))
            ++pos;
    }
};

/// Reads count numbers, on however many lines, and appends them to store.
void readNumbers(WordReader& reader, FloatDataBlock& store, int count) {
    for (int i = 0; i < count; ++i)
        store.AddVal(stringToFloat(reader.Next()));
}

/// Reads the object's name, on whichever line it is, and writes it, shortened, to name if that is not null.
void readName(WordReader& reader, char* name) {
    reader.Next();
    toLower(reader.word);
    char* lastUnderscore = strrchr(reader.word, '_');
    if (lastUnderscore && lastUnderscore > reader.word)
        *lastUnderscore = 0;
    if (name)
        strcopy(reader.word, name, 32);
}

/// Copies the floats of record number index (from 1) of a store; zeros where the store has no such record.
void copyRecord(FloatDataBlock& store, int index, int floats, float* out) {
    const int64_t first = (static_cast<int64_t>(index) - 1) * floats;
    const bool held = first >= 0 && first + floats <= store.ValCount();
    for (int i = 0; i < floats; ++i)
        out[i] = held ? store.GetVal(static_cast<int>(first) + i) : 0.0f;
}

/// Turns a corner word, "position/texture/normal" with any part missing, into the 8 floats of a vertex.
void readCorner(char* corner, ObjCollectedVertData& collected, float* vertex) {
    int numbers[3] = {};
    for (int part = 0; part < 3 && corner; ++part) {
        char* slash = strchr(corner, '/');
        if (slash)
            *slash = 0;
        numbers[part] = toint(corner);
        corner = slash ? slash + 1 : nullptr;
    }
    copyRecord(collected.positions, numbers[0], 3, vertex);
    copyRecord(collected.normals, numbers[2], 3, vertex + 3);
    copyRecord(collected.texCoords, numbers[1], 2, vertex + 6);
}

/// Reads the corners up to the end of the line and adds the face if it has 3 or 4.
void readFace(WordReader& reader, ObjCollectedVertData& collected, Geometry& mesh) {
    float vertices[4 * 8];
    int corners = 0;
    while (!reader.AtLineEnd()) {
        reader.Next();
        if (corners < 4)
            readCorner(reader.word, collected, vertices + 8 * corners);
        ++corners;
    }
    if (corners == 3 || corners == 4)
        mesh.privAddFace(vertices, corners);
}

/// Acts on the keyword read last, unless it is one that the segment's loop sees to. Unknown words do nothing.
void readRecord(WordReader& reader, ObjCollectedVertData& collected, Geometry& mesh) {
    const char* keyword = reader.word;
    if (strequal(keyword, "v", true))
        readNumbers(reader, collected.positions, 3);
    else if (strequal(keyword, "vn", true))
        readNumbers(reader, collected.normals, 3);
    else if (strequal(keyword, "vt", true))
        readNumbers(reader, collected.texCoords, 2);
    else if (strequal(keyword, "f", true))
        readFace(reader, collected, mesh);
    else if (strequal(keyword, "s", true))
        collected.smooth = strequal(reader.Next(), "off", true) ? 0 : 1;
    else if (strequal(keyword, "#", true) || strequal(keyword, "usemtl", true) ||
             strequal(keyword, "mtllib", true))
        reader.SkipLine();
}

bool startsObject(const char* keyword) {
    return strequal(keyword, "o", true) || strequal(keyword, "g", true);
}

} // namespace

bool Geometry::LoadOBJFileSegment(DataBlock* data, int* pos, ObjCollectedVertData* collected, char* name) {
    WordReader reader(data, *pos);
    int signEnd = -1; // behind the object sign of this segment; -1 = none seen
    int nextObject = -1;
    do {
        if (!startsObject(reader.Next())) {
            readRecord(reader, *collected, *this);
        } else if (signEnd < 0) {
            signEnd = reader.Pos();
            readName(reader, name);
        } else {
            // Two objects on one line must not send the next segment back to the first of them for ever.
            nextObject = reader.LineStart(signEnd);
        }
    } while (nextObject < 0 && !reader.AtEnd());

    privRefreshData();
    needsCompile = true;
    *pos = nextObject < 0 ? reader.Pos() : nextObject;
    return nextObject < 0;
}

void LoadObjFileSingle(Geometry* geom, const char* path) {
    DataBlock data;
    ObjCollectedVertData collected;
    int pos = 0;
    data.ReadFile(path);
    geom->LoadOBJFileSegment(&data, &pos, &collected, nullptr);
}

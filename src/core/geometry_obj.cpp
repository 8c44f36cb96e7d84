// Reading OBJ text into meshes. The text is untrusted: every read stays in the block, every index is checked,
// and the time taken is linear in the text's size whatever it holds.
//
// The rules are those of the words: WordReader and what uses it. Records in the form that exporters write
// take a quick way with the same result (PlainText, PlainRecords); it ends in front of the first that looks
// different.
#include "geometry.h"

#include "strfuncs.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

using Byte = unsigned char;

bool isSeparator(Byte c) {
    return c == ' ' || c == '\n' || c == '\r';
}

// ---- word by word

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
    /// Goes on at newPos, in front of a word or of what separates words.
    void MoveTo(int newPos) { pos = newPos; }

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

    const Byte* Bytes() { return data->Ptr(); }
    static bool IsBreak(Byte c) { return c == '\n' || c == '\r'; }

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

/// The floats of record number index (from 1) of a store; zeros where the store has no such record.
template <int floats>
const float* recordOf(const FloatDataBlock& store, int index) {
    static const float zeros[floats] = {};
    constexpr uint64_t bytes = floats * sizeof(float);
    // Unsigned: index 0 and negative ones become too large.
    const uint64_t offset = (static_cast<unsigned>(index) - 1u) * bytes;
    const bool held = offset + bytes <= static_cast<uint64_t>(store.Len());
    return held ? reinterpret_cast<const float*>(store.Ptr() + offset) : zeros;
}

/// Writes the 8 floats of the corner with the given numbers: of its position, texture coordinate and normal.
void writeVertex(const ObjCollectedVertData& collected, const int* numbers, float* vertex) {
    memcpy(vertex, recordOf<3>(collected.positions, numbers[0]), 3 * sizeof(float));
    memcpy(vertex + 3, recordOf<3>(collected.normals, numbers[2]), 3 * sizeof(float));
    memcpy(vertex + 6, recordOf<2>(collected.texCoords, numbers[1]), 2 * sizeof(float));
}

/// Turns a corner word, "position/texture/normal" with any part missing, into the 8 floats of a vertex.
void readCorner(char* corner, const ObjCollectedVertData& collected, float* vertex) {
    int numbers[3] = {};
    for (int part = 0; part < 3 && corner; ++part) {
        char* slash = strchr(corner, '/');
        if (slash)
            *slash = 0;
        numbers[part] = toint(corner);
        corner = slash ? slash + 1 : nullptr;
    }
    writeVertex(collected, numbers, vertex);
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

// ---- plain text

constexpr int kWindow = 64;       // bytes whose digits are told apart at once
constexpr int kLookedAhead = 40;  // bytes that reading one word may look at
constexpr int kMostDigits = 15;   // any number of so many digits is exact in a double
constexpr int kLargestPower = 22; // and so are the powers of ten up to this one
constexpr double kPowersOf10[kLargestPower + 1] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// Which of the kWindow bytes at p are no digits: bit i stands for p[i].
uint64_t nonDigits(const Byte* p) {
    uint64_t mask = 0;
#ifdef __SSE2__
    for (int i = 0; i < kWindow; i += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        // Moves '0' to '9' to the ten smallest signed values.
        const __m128i moved = _mm_add_epi8(bytes, _mm_set1_epi8(static_cast<char>(0x80 - '0')));
        const __m128i outside = _mm_cmpgt_epi8(moved, _mm_set1_epi8(static_cast<char>(0x80 + 9)));
        mask |= static_cast<uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(outside))) << i;
    }
#else
    for (int i = 0; i < kWindow; ++i)
        mask |= static_cast<uint64_t>(p[i] < '0' || p[i] > '9') << i;
#endif
    return mask;
}

/// Index of the lowest bit set. mask is not 0.
int lowestBit(uint64_t mask) {
#ifdef __GNUC__
    return __builtin_ctzll(mask);
#else
    int index = 0;
    for (; !(mask & 1); mask >>= 1)
        ++index;
    return index;
#endif
}

#ifdef __SSE2__
/// 8 digit values, one in each byte: zeros, and then the count (1 to 8) digits at p. Eight bytes can be read
/// there.
uint64_t lastDigits(const Byte* p, int count) {
    uint64_t digits; // little-endian: what comes last stands in the highest byte
    memcpy(&digits, p, sizeof(digits));
    return (digits ^ 0x3030303030303030u) << (64 - 8 * count);
}

/// The number that 8 digit values make. Neighbours are joined to pairs, those to fours, and those to the
/// whole.
int64_t joinDigits(uint64_t digits) {
    digits = (digits * (10 * 0x100u + 1)) >> 8;
    digits = ((digits & 0x00ff00ff00ff00ffu) * (100 * 0x10000u + 1)) >> 16;
    return static_cast<int64_t>(((digits & 0x0000ffff0000ffffu) * (10000 * 0x100000000u + 1)) >> 32);
}

/// The number that the count (1 to 8) digits at p make.
int64_t digitsValue(const Byte* p, int count) {
    return joinDigits(lastDigits(p, count));
}

/// The digits at p and behind the point that follows them as one number. At least 1 of either, at most 8
/// together.
int64_t decimalValue(const Byte* p, int whole, int decimals) {
    return joinDigits(lastDigits(p, whole) >> (8 * decimals) | lastDigits(p + whole + 1, decimals));
}
#else
int64_t digitsValue(const Byte* p, int count) {
    int64_t value = 0;
    for (int i = 0; i < count; ++i)
        value = value * 10 + (p[i] - '0');
    return value;
}

int64_t decimalValue(const Byte* p, int whole, int decimals) {
    int64_t value = digitsValue(p, whole);
    for (p += whole + 1; decimals > 0; --decimals, ++p)
        value = value * 10 + (*p - '0');
    return value;
}
#endif

/// Walks a text as long as it has the plain form asked for: what is in another form makes a reading call
/// return false, and the place is of no use from then on. Reads nothing from the text's end on.
class PlainText {
public:
    PlainText(const Byte* start, const Byte* end) : p(start), last(end - kWindow) {}

    const Byte* Here() const { return p; }

    /// Moves to the next word. @return false so near to the end that nothing there counts as plain
    bool SkipSeparators() {
        while (p <= last && isSeparator(*p))
            Advance(1);
        return p <= last;
    }

    /// Moves past blanks. @return whether the line goes on
    bool SkipBlanks() {
        while (p < last && *p == ' ')
            Advance(1);
        return *p != '\n' && *p != '\r';
    }

    /// Moves past a keyword of count characters.
    bool SkipKeyword(int count) {
        Advance(count);
        return SkipBlanks();
    }

    /// Reads a decimal number whose digits and power of ten a double holds exactly. Then one division or
    /// multiplication rounds as the exact conversion does, and the result is stringToFloat's.
    bool ReadNumber(float& number) {
        if (!Look() || FLT_EVAL_METHOD != 0) // with more precision it would round twice
            return false;
        const int sign = *p == '-';
        const Byte* digits = p + sign;
        const uint64_t signless = stops >> sign;
        const int whole = lowestBit(signless | kStop);
        int end = whole;
        if (digits[whole] == '.')
            end = lowestBit((signless & (signless - 1)) | kStop);
        const int decimals = end > whole ? end - whole - 1 : 0;
        if (whole > 8 || whole + decimals == 0 || whole + decimals > kMostDigits)
            return false;
        int power = -decimals;
        const double value = static_cast<double>(Join(digits, whole, decimals));
        if (!isSeparator(digits[end]) && !ReadExponent(digits, end, power))
            return false;
        const float size =
            static_cast<float>(power > 0 ? value * kPowersOf10[power] : value / kPowersOf10[-power]);
        number = sign ? -size : size;
        Advance(sign + end);
        return true;
    }

    /// Reads the numbers of a corner, "position/texture/normal"; 0 where one is missing.
    bool ReadCorner(int* numbers) {
        if (!Look())
            return false;
        uint64_t rest = stops;
        int end = 0;
        for (int part = 0, start = 0; part < 3; ++part, start = end + 1, rest &= rest - 1) {
            end = lowestBit(rest | kStop);
            if (end - start > 8)
                return false;
            numbers[part] = end > start ? static_cast<int>(digitsValue(p + start, end - start)) : 0;
            if (p[end] != '/')
                break;
        }
        Advance(end);
        return isSeparator(*p);
    }

private:
    static constexpr uint64_t kStop = uint64_t{1} << 31; // no word is longer

    const Byte* p;
    const Byte* last;   // the last place from which a window can be read
    uint64_t stops = 0; // which of the bytes at p are no digits, lowest bit first
    int held = 0;       // of how many bytes

    /// Sees to it that stops covers a whole word. @return false when the text is too short for that
    bool Look() {
        if (held >= kLookedAhead)
            return true;
        if (p > last)
            return false;
        stops = nonDigits(p);
        held = kWindow;
        return true;
    }

    void Advance(int count) {
        p += count;
        stops >>= count;
        held -= count;
    }

    /// The digits before and behind a point, as one number.
    static int64_t Join(const Byte* digits, int whole, int decimals) {
        if (whole > 0 && decimals > 0 && whole + decimals <= 8)
            return decimalValue(digits, whole, decimals);
        int64_t value = whole > 0 ? digitsValue(digits, whole) : 0;
        for (digits += whole + 1; decimals > 0; ++digits, --decimals)
            value = value * 10 + (*digits - '0');
        return value;
    }

    /// Reads the "e-05" that begins at digits + end, adds it to power and moves end behind it.
    static bool ReadExponent(const Byte* digits, int& end, int& power) {
        if (digits[end] != 'e' && digits[end] != 'E')
            return false;
        const bool negative = digits[++end] == '-';
        end += negative || digits[end] == '+';
        int exponent = 0;
        const int start = end;
        for (; end < start + 3 && digits[end] >= '0' && digits[end] <= '9'; ++end)
            exponent = exponent * 10 + (digits[end] - '0');
        power += negative ? -exponent : exponent;
        return end > start && isSeparator(digits[end]) && std::abs(power) <= kLargestPower;
    }
};

// ---- plain records

constexpr int kVertexFloats = 8;
constexpr int kCountedAtOnce = 240; // no more, so that a byte holds any count

/// How many records of each kind some lines hold, told from how the lines begin. Good for reserving memory,
/// not for anything else.
struct RecordCounts {
    int64_t positions = 0, texCoords = 0, normals = 0, tris = 0, quads = 0;
    int64_t faces = 0;   // of any number of corners
    int64_t words = 0;   // of any kind but keywords
    bool object = false; // an object's line is among them

    /// Adds what begins behind one of the count bytes at p, at most kCountedAtOnce. Two more can be read.
    void Add(const Byte* p, int count);
    /// Tells how many of the faces may be triangles and how many quads, once everything has been added.
    void SplitFaces();
};

void RecordCounts::Add(const Byte* p, int count) {
    // Bytes and no branches: the compiler handles many at a time.
    Byte v = 0, vt = 0, vn = 0, f = 0, blanks = 0, objects = 0;
    for (int i = 0; i < count; ++i) {
        const Byte first = p[i + 1];
        const Byte second = p[i + 2];
        const bool lineStart = p[i] == '\n';
        const bool vertex = lineStart & (first == 'v');
        v = static_cast<Byte>(v + (vertex & (second == ' ')));
        vt = static_cast<Byte>(vt + (vertex & (second == 't')));
        vn = static_cast<Byte>(vn + (vertex & (second == 'n')));
        f = static_cast<Byte>(f + (lineStart & (first == 'f')));
        objects = static_cast<Byte>(objects + (lineStart & ((first == 'o') | (first == 'g'))));
        blanks = static_cast<Byte>(blanks + ((p[i] == ' ') & (first > ' ')));
    }
    positions += v;
    texCoords += vt;
    normals += vn;
    faces += f;
    words += blanks;
    object = object || objects > 0;
}

void RecordCounts::SplitFaces() {
    const int64_t corners = std::max<int64_t>(0, words - 3 * positions - 2 * texCoords - 3 * normals);
    const bool clear = corners >= 3 * faces && corners <= 4 * faces;
    quads = clear ? corners - 3 * faces : std::min(faces, corners / 4);
    tris = clear ? faces - quads : std::min(faces, corners / 3);
}

/// Reads plain records into the store and the mesh, making room at once for all that the text still holds.
class PlainRecords {
public:
    PlainRecords(DataBlock* source, int start, ObjCollectedVertData* store, Geometry* geometry)
        : data(source), segmentStart(start), collected(store), mesh(geometry) {}

    /// Reads the records from pos on until one is not plain, whose position it returns.
    int Read(int pos) {
        if (pos > data->Len() - kWindow)
            return pos;
        PlainText text(data->Ptr() + pos, data->Ptr() + data->Len());
        do {
            pos = static_cast<int>(text.Here() - data->Ptr());
        } while (text.SkipSeparators() && ReadRecord(text));
        return pos;
    }

private:
    DataBlock* data;
    int segmentStart;
    ObjCollectedVertData* collected;
    Geometry* mesh;
    RecordCounts ahead; // of the lines up to aheadEnd; 0 where room has been made
    int64_t aheadEnd = 0;

    bool ReadRecord(PlainText& text) {
        const Byte* word = text.Here();
        if (word[0] == 'f' && word[1] == ' ')
            return text.SkipKeyword(1) && ReadFace(text);
        if (word[0] == 'v' && word[1] == ' ')
            return text.SkipKeyword(1) && ReadNumbers<3>(text, collected->positions, ahead.positions);
        if (word[0] == 'v' && word[1] == 'n' && word[2] == ' ')
            return text.SkipKeyword(2) && ReadNumbers<3>(text, collected->normals, ahead.normals);
        if (word[0] == 'v' && word[1] == 't' && word[2] == ' ')
            return text.SkipKeyword(2) && ReadNumbers<2>(text, collected->texCoords, ahead.texCoords);
        float unknown; // a number that belongs to no record, as the colour behind a position
        return text.ReadNumber(unknown);
    }

    template <int count>
    bool ReadNumbers(PlainText& text, FloatDataBlock& store, int64_t& recordsAhead) {
        float numbers[count];
        for (int i = 0; i < count; ++i) {
            if ((i > 0 && !text.SkipBlanks()) || !text.ReadNumber(numbers[i]))
                return false;
        }
        if (!MakeRoom(store, sizeof(numbers), recordsAhead, text))
            return false;
        memcpy(store.data + store.len, numbers, sizeof(numbers));
        store.len += static_cast<int>(sizeof(numbers));
        store.vals = reinterpret_cast<float*>(store.data);
        return true;
    }

    bool ReadFace(PlainText& text) {
        int numbers[4][3] = {};
        int corners = 0;
        do {
            if (corners == 4 || !text.ReadCorner(numbers[corners]))
                return false;
            ++corners;
        } while (text.SkipBlanks());
        if (corners == 3)
            return AddFace<3>(text, numbers, mesh->tris, mesh->triCount, ahead.tris);
        return corners == 4 && AddFace<4>(text, numbers, mesh->quads, mesh->quadCount, ahead.quads);
    }

    template <int corners>
    bool AddFace(PlainText& text, const int (*numbers)[3], DataBlock& list, int& count, int64_t& facesAhead) {
        constexpr int bytes = corners * kVertexFloats * static_cast<int>(sizeof(float));
        if (!MakeRoom(list, bytes, facesAhead, text))
            return false;
        float* vertex = reinterpret_cast<float*>(list.data + list.len);
        for (int i = 0; i < corners; ++i, vertex += kVertexFloats)
            writeVertex(*collected, numbers[i], vertex);
        list.len += bytes;
        ++count;
        return true;
    }

    bool MakeRoom(DataBlock& list, int recordBytes, int64_t& recordsAhead, const PlainText& text) {
        return list.dim - list.len >= recordBytes || Grow(list, recordBytes, recordsAhead, text);
    }

    /// Makes room for the record just read, those ahead and a few that the count may have missed.
    /// @return false if there is no memory for it
    bool Grow(DataBlock& list, int recordBytes, int64_t& recordsAhead, const PlainText& text) {
        const int here = static_cast<int>(text.Here() - data->Ptr());
        if (here >= aheadEnd)
            LookAhead(here);
        // By half at least, so that a list that grows in many steps is not copied too often.
        const int64_t growth = std::max<int64_t>((recordsAhead + 4) * recordBytes, list.len / 2);
        recordsAhead = 0;
        list.ResizeDim(static_cast<int>(std::min<int64_t>(list.len + growth, INT_MAX)));
        return list.dim - list.len >= recordBytes;
    }

    /// Counts the records from a position on, up to the next object at most.
    void LookAhead(int from) {
        // Early in a segment, which may turn out short, only a piece: many segments together must not take
        // more than linear time.
        const int64_t done = from - segmentStart;
        const int64_t reach = done > data->Len() / 64 ? data->Len() : 4096 + 8 * done;
        const int64_t end = std::min<int64_t>(from + reach, data->Len() - 2);
        ahead = RecordCounts();
        for (aheadEnd = from; aheadEnd < end && !ahead.object; aheadEnd += kCountedAtOnce)
            ahead.Add(data->Ptr() + aheadEnd,
                      static_cast<int>(std::min<int64_t>(end - aheadEnd, kCountedAtOnce)));
        ahead.SplitFaces();
    }
};

/// Gives back what has been reserved in vain, if it is much.
void trim(DataBlock& list) {
    if (list.len > 0 && list.dim - list.len > list.len / 8)
        list.ResizeDim(list.len);
}

} // namespace

bool Geometry::LoadOBJFileSegment(DataBlock* data, int* pos, ObjCollectedVertData* collected, char* name) {
    WordReader reader(data, *pos);
    PlainRecords plainRecords(data, reader.Pos(), collected, this);
    int signEnd = -1; // behind the object sign of this segment; -1 = none seen
    int nextObject = -1;
    do {
        reader.MoveTo(plainRecords.Read(reader.Pos()));
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

    trim(tris);
    trim(quads);
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

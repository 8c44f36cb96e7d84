// Meshes: OBJ text and binary records, sound and broken, merging, and drawing in a real context.
#include "geometry.h"

#include "gl_test.h"
#include "strfuncs.h"
#include "tnmath.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Floats = std::vector<float>;

Floats values(const FloatDataBlock& list) {
    const float* first = reinterpret_cast<const float*>(list.Ptr());
    return Floats(first, first + list.ValCount());
}

/// A whole OBJ text read into its objects, told as "name triangles quads;" each.
struct ObjFile {
    std::deque<Geometry> meshes;
    ObjCollectedVertData collected;
    std::string told;

    explicit ObjFile(const std::string& text) {
        DataBlock data;
        data.Append(text.data(), static_cast<int>(text.size()));
        int pos = 0;
        // A reader that stands still ends here too: no text holds more objects than bytes.
        for (bool atEnd = false; !atEnd && meshes.size() <= text.size();) {
            char name[32] = "-";
            Geometry& mesh = meshes.emplace_back();
            atEnd = mesh.LoadOBJFileSegment(&data, &pos, &collected, name);
            told += name + (" " + std::to_string(mesh.triCount)) + " " + std::to_string(mesh.quadCount) + ";";
        }
    }
};

TEST(GeometryObj, ReadsObjects) {
    const struct {
        std::string what, text, expected;
    } cases[] = {
        {"no data", "", "- 0 0;"},
        {"faces before the first object", "f 1 2 3\no A\nf 1 2 3 4\n", "a 1 1;"},
        {"second object", "o A\nf 1 2 3\n  g B\nf 1 2 3 4", "a 1 0;b 0 1;"},
        {"name cut before the last underscore", "o Big_Rock_01\n", "big_rock 0 0;"},
        {"only underscore comes first", "o _Rock\n", "_rock 0 0;"},
        {"name too long", "o " + std::string(40, 'N') + "\n", std::string(31, 'n') + " 0 0;"},
        {"other corner counts", "f\nf  \nf 1\nf 1 2\nf 1 2 3 4 5\nf 1 2 3 4 5 6\nf 1 2 3\n", "- 1 0;"},
        {"blanks end the line", "f 1 2 3  \n1 f 1 2 3 4 \r\nf 1 2 3 ", "- 2 1;"},
        {"comment sign alone", "#\nf 1 2 3\n# o X\nf 1 2 3\n#x f 1 2 3\n", "- 3 0;"},
        {"name on the next line", "g\n\nRock_1 f 1 2 3\n", "rock 1 0;"},
        {"second sign alone on its line", "o A\no\nB\nf 1 2 3\n", "a 0 0;b 1 0;"},
        {"object sign ends the data", "o A\nf 1 2 3\no", "a 1 0; 0 0;"},
        {"objects on one line", "o A o B o C", "a 0 0;b 0 0;c 0 0;"},
        {"zero bytes", std::string("f\0x 1\0 2 3\nf 1 2 3\0", 20), "- 2 0;"},
        {"unknown words", "curv f 1 2 3\ns off\ns 1\nusemtl f 1 2 3\n", "- 1 0;"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ObjFile(c.text).told, c.expected) << c.what;
    std::string line("o a "); // looking for the start of the line at each sign must not take quadratic time
    while (line.size() < 1000000)
        line += line;
    EXPECT_EQ(ObjFile(line).meshes.size(), line.size() / 4);
}

TEST(GeometryObj, CornersTakeTheirRecords) {
    ObjFile file("v 1 2 3\nvt .5 .25\nvn 0 1 0\no A\no B\nv 4 5 6\n"
                 "f 2/1/1 1//1/9 2/1 1\nf -1/0/99999999999999999999 2147483647//2147483648 3\n");
    EXPECT_EQ(values(file.meshes[1].quads), (Floats{4, 5, 6, 0, 1, 0, .5f, .25f, 1, 2, 3, 0, 1, 0, 0, 0,
                                                    4, 5, 6, 0, 0, 0, .5f, .25f, 1, 2, 3, 0, 0, 0, 0, 0}));
    EXPECT_EQ(values(file.meshes[1].tris), Floats(24));
}

/// A text without objects, read word by word and by nothing but the rules for words.
struct PlainReader {
    static constexpr int sizes[3] = {3, 2, 3};
    Floats stores[3], faces[2]; // positions, texture coordinates, normals; triangles, quads

    explicit PlainReader(const std::string& text) {
        DataBlock data;
        data.Append(text.data(), static_cast<int>(text.size()));
        const std::string keywords[] = {"v", "vt", "vn", "f"};
        char word[32];
        for (int pos = 0; pos < data.Len();) {
            bool lineEnded = data.GetData(&pos, "w", word);
            const auto kind = std::find(keywords, keywords + 4, word) - keywords;
            for (int i = 0; kind < 3 && i < sizes[kind]; ++i) {
                data.GetData(&pos, "w", word);
                stores[kind].push_back(stringToFloat(word));
            }
            Floats face;
            while (kind == 3 && !lineEnded && pos < data.Len()) {
                lineEnded = data.GetData(&pos, "w", word);
                addCorner(word, face);
            }
            if (face.size() == 24 || face.size() == 32)
                faces[face.size() / 32].insert(faces[face.size() / 32].end(), face.begin(), face.end());
        }
    }

    void addCorner(const char* word, Floats& face) const {
        std::istringstream parts(word);
        std::string part;
        int numbers[3] = {};
        for (int i = 0; i < 3 && std::getline(parts, part, '/'); ++i)
            numbers[i] = toint(part.c_str());
        for (const int kind : {0, 2, 1}) {
            for (int i = 0; i < sizes[kind]; ++i) {
                const long long at = (numbers[kind] - 1LL) * sizes[kind] + i;
                const bool held = at >= 0 && at < static_cast<long long>(stores[kind].size());
                face.push_back(held ? stores[kind][static_cast<size_t>(at)] : 0);
            }
        }
    }
};

/// A text of records in many forms, most of them as exporters write them.
std::string randomText(std::mt19937& random) {
    const auto pick = [&](const std::vector<const char*>& texts) { return texts[random() % texts.size()]; };
    // The long ones lie halfway between two floats but for their last digit.
    static const char oddNumbers[] =
        "-0 .5 5. - . 1e inf nan +1 0x1p3 7\t8 1.2.3 1e-400 1E+5 1.46465259790420532 "
        "7.8980009555816650 104.25753402709961 106.16039657592773";
    std::string text;
    for (int line = 0; line < 100; ++line) {
        const std::string keyword = pick({"v", "vt", "vn", "f", "f", "x"});
        text += keyword;
        for (unsigned words = 1 + random() % 5; words > 0; --words) {
            char number[400], corner[40], odd[32];
            snprintf(number, sizeof(number), pick({"%.*f", "%.*e", "%.*g"}), static_cast<int>(random() % 18),
                     std::ldexp(random() - 2e9, static_cast<int>(random() % 120) - 80));
            snprintf(corner, sizeof(corner),
                     pick({"%u", "%u/%u", "/%u", "%u//%u", "%u/%u/%u", "%u/%u/%u/", "%010u"}), random() % 40,
                     random() % 40, random() % 40);
            GetLineWord(oddNumbers, odd, static_cast<int>(random() % 18));
            text += pick({" ", " ", " ", "  "});
            text += keyword == "f" ? corner : random() % 10 > 0 ? number : odd;
        }
        text += pick({"\n", "\n", "\n", "\r\n", "\n\n"});
    }
    return text;
}

// Well-formed lines take a quick way through the reader. It must give the same bits as the words do.
TEST(GeometryObj, ReadsLikeWordByWord) {
    std::mt19937 random(4);
    for (int round = 0; round < 200; ++round) {
        const std::string text = randomText(random);
        const ObjFile file(text);
        const PlainReader plain(text);
        const auto expectSame = [&](const FloatDataBlock& list, const Floats& expected) {
            ASSERT_EQ(list.Len(), static_cast<int>(expected.size() * sizeof(float))) << text;
            EXPECT_TRUE(std::equal(list.data, list.data + list.len,
                                   reinterpret_cast<const unsigned char*>(expected.data())))
                << text;
        };
        expectSame(file.collected.positions, plain.stores[0]);
        expectSame(file.collected.texCoords, plain.stores[1]);
        expectSame(file.collected.normals, plain.stores[2]);
        expectSame(file.meshes[0].tris, plain.faces[0]);
        expectSame(file.meshes[0].quads, plain.faces[1]);
    }
}

TEST(GeometryBuffer, ReadsARecordOrNothing) {
    DataBlock data("head");
    data.AppendData("fffi", 7., 7., 7., 2);
    data.AppendData("ffffffffffff", 1., 2., 3., 0., 1., 0., 4., 5., 6., 1., 0., 0.);
    data.AppendData("ii", 1, 1);
    data.AppendData("cfffiffiffiff", 0, 0., 0., 1., 0, .1, .2, 1, .3, .4, 2, .5, .6);
    data.AppendData("cfffiffiffiffiff", 1, 0., 0., 1., 0, 0., 0., 1, 0., 1., -1, 1., 1., 1, 1., 0.);
    const int whole = data.Len();
    Geometry mesh;
    int pos = 4;
    mesh.LoadFromBufferSegment(&data, &pos);
    EXPECT_EQ(pos, whole);
    EXPECT_EQ(values(mesh.tris),
              (Floats{1, 2, 3, 0, 0, 1, .1f, .2f, 4, 5, 6, 0, 0, 1, .3f, .4f, 0, 0, 0, 0, 0, 1, .5f, .6f}));
    EXPECT_EQ(values(mesh.quads), (Floats{1, 2, 3, 0, 1, 0, 0, 0, 4, 5, 6, 1, 0, 0, 0, 1,
                                          0, 0, 0, 0, 0, 0, 1, 1, 4, 5, 6, 1, 0, 0, 1, 0}));
    const auto readsNothing = [&] {
        mesh.LoadFromBufferSegment(&data, &(pos = 4));
        return pos == data.Len() && mesh.triCount + mesh.quadCount + mesh.tris.Len() + mesh.quads.Len() == 0;
    };
    const int counts[][2] = {{16, 2}, {68, 1}, {72, 1}}; // where they stand, what they are
    for (const auto& [at, original] : counts) {
        for (const int count : {-1, 1 << 30, original}) {
            data.SetData(&(pos = at), "i", count);
            EXPECT_EQ(readsNothing(), count != original) << at << " " << count;
        }
    }
    for (data.len = whole - 1; data.len >= 0; --data.len)
        EXPECT_TRUE(readsNothing()) << data.len;
}

TEST(GeometryMerge, TransformsOnlyWhatItAppends) {
    ObjFile file("v 1 2 3\nvt 1 1\nvn 0 0 1\nf 1/1/1 2 2\n");
    Geometry& mesh = file.meshes[0];
    Matrix move, scale;
    move.Translate(10, 0, 0);
    scale.Scale(2, 3, 1);
    mesh.AddGeometry(&mesh, &move, &scale);
    mesh.AddGeometry(nullptr, &move, nullptr);
    EXPECT_EQ(values(mesh.tris),
              (Floats{1,  2, 3, 0, 0, 1, 1, 1, 0,  0, 0, 0, 0, 0, 0, 0, 0,  0, 0, 0, 0, 0, 0, 0,
                      11, 2, 3, 0, 0, 1, 2, 3, 10, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(mesh.triCount, 2);
}

class GeometryGl : public GlTest {};

TEST_F(GeometryGl, DrawsFromBuffersAndFromMemory) {
    constexpr std::array<int, 3> white{255, 255, 255}, black{0, 0, 0};
    PFNGLISBUFFERARBPROC isBuffer = nullptr;
    fetchGlFunction(isBuffer, "glIsBufferARB");
    unsigned int buffer = 0;
    for (const bool compiled : {false, true}) {
        // A quad over the left half of the screen and a triangle in the lower right corner.
        ObjFile file(
            "v -1 -1 0\nv 0 -1 0\nv 0 1 0\nv -1 1 0\nv 1 -1 0\nv 1 0 0\nf 1 2 3 4\no A\ng B\nf 2 5 6");
        Geometry& mesh = file.meshes[0];
        mesh.needsCompile = compiled;
        mesh.Draw();
        Matrix identity;
        mesh.AddGeometry(&file.meshes[1], &identity, nullptr);
        mesh.needsCompile = compiled;
        glClear(GL_COLOR_BUFFER_BIT);
        mesh.Draw();
        EXPECT_TRUE(pixel(10, 50) == white && pixel(60, 5) == white && pixel(50, 50) == black) << compiled;
        buffer = mesh.triBuffer;
        EXPECT_EQ(isBuffer(buffer), compiled);
    }
    EXPECT_FALSE(isBuffer(buffer));
    DrawLine(0.5f, 0.9f, 0, 1, 0.9f, 0);
    EXPECT_EQ(pixel(60, 60), white);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

} // namespace

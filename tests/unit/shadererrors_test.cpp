// Shader compilers' messages, led back to the author's files: shaders broken by a known line in known places.
#include "shadererrors.h"

#include "feature.h"
#include "gl_files.h"
#include "materials.h"
#include "shaderlines.h"

#include <algorithm>

namespace {

class ShaderErrorsTest : public GlFilesTest {
protected:
    void TearDown() override {
        shaderProblems.Forget();
        GlFilesTest::TearDown();
    }
    /// The first report that building the shader gives.
    static ErrorReport build(const std::string& text) {
        write("shaders/test.shad", text);
        Shader shader;
        testing::internal::CaptureStderr();
        printed([&] { shader.LoadMetaFile("./shaders\\test.shad"); });
        testing::internal::GetCapturedStderr();
        const auto& reports = shaderProblems.reports["shaders/test.shad"];
        return reports.empty() ? ErrorReport() : reports.front();
    }
    const std::unique_ptr<Feature> feature = MakeShaderErrors();
};

/// A line that does not compile, and what the caret points at.
const std::pair<std::string, std::string> kBroken[] = {
    {"\tfloat x = = 1.0;", "= 1.0"},               // syntax
    {"  float x = 2.0  +\t nothing;", "nothing;"}, // undeclared
    {"vec3 x =\tvec2(1.0);", "vec3 x"},            // type
    {"float x = TWICE(1.0, 2.0);", "TWICE"},       // preprocessor
    {"  float x = 1.0 + WRONG;", "float x"}};      // in a macro's text

/// Shaders with one $ in the file of that name, where the broken line goes.
struct Place {
    const char* file;
    const char* shader;
    const char* include;
};

const char kMacros[] =
    "// \xC3\xA4\n\n\n#define TWICE(x) \\\n  (2.0 * (x))\n#define WRONG (1.0 + 2.0 + 3.0 + nowhere)\n";
const Place kPlaces[] = {
    {"shaders/test.shad",
     "first\n#SECTION VERTEX\r\n\r\n#INCLUDE \"all.inc\"\r\n/* two\r\n\r\nlines */\r\nvoid main()\r\n{\r\n"
     "$\r\n  gl_Position = ftransform();\r\n}\r\n#SECTION FRAGMENT\r\nvoid main() {}",
     ""},
    {"shaders/test.shad",
     "#SECTION VERTEX\nvoid main() { gl_Position = ftransform(); }\n\n#SECTION FRAGMENT\n#INCLUDE "
     "\"all.inc\"\n"
     "#section VERTEX\n// more\n#section FRAGMENT\n\n\nvoid main() {\n\n$\n}\n",
     ""},
    {"shaders/include/all.inc",
     "#SECTION VERTEX\n#INCLUDE \"all.inc\"\nvoid main() { gl_Position = ftransform(); }",
     "void f()\n{\n\n$\n}\n"},
    {"shaders/test.shad", // the line goes on where the included file ends
     "#SECTION FRAGMENT\n\n#INCLUDE \"all.inc\"\n\n$ }\n#SECTION VERTEX\n\nvoid main() { gl_Position = "
     "ftransform(); "
     "}\n#SECTION FRAGMENT\n",
     "\r\n\rvoid main() {"}};

std::string with(const std::string& text, const std::string& line) {
    const std::size_t at = text.find('$');
    return at == std::string::npos ? text : std::string(text).replace(at, 1, line);
}

} // namespace

TEST_F(ShaderErrorsTest, NameTheAuthorsLine) {
    for (const auto& [line, spot] : kBroken)
        for (const Place& place : kPlaces) {
            const std::string shader = with(place.shader, line),
                              include = kMacros + with(place.include, line);
            write("shaders/include/all.inc", include);
            const ErrorReport report = build(shader);
            const std::string& text = std::string(place.file) == "shaders/test.shad" ? shader : include;
            const long at = static_cast<long>(text.find(line));
            EXPECT_EQ(report.file, place.file) << shader << report.Text();
            EXPECT_EQ(report.line, 1 + std::count(text.begin(), text.begin() + at, '\n'))
                << shader << report.Text();
            const auto shown = std::find_if(report.excerpt.begin(), report.excerpt.end(),
                                            [&](const ExcerptLine& l) { return l.number == report.line; });
            ASSERT_NE(shown, report.excerpt.end());
            EXPECT_EQ(shown->text.compare(static_cast<std::size_t>(report.caretColumn), 3, spot, 0, 3), 0)
                << report.Text();
        }
}

TEST_F(ShaderErrorsTest, AreForgottenWhenTheShaderIsMended) {
    const std::string good =
        "#SECTION VERTEX\nvoid main() { gl_Position = ftransform(); }\n#SECTION FRAGMENT\n";
    const int before = shaderProblems.changes;
    EXPECT_EQ(build(good + "void g();\nvoid main() { g(); }").message.compare(0, 10, "unresolved"), 0);
    EXPECT_LE(90, build(good + "#line 90\nvoid main() { x; }").line) << "the author's own numbers";
    EXPECT_EQ(build(good + "void main() {\n").line, 4) << "unexpected end";
    EXPECT_EQ(build(good + "void main() {}").file, "");
    EXPECT_EQ(4, shaderProblems.changes - before);
}

TEST(ShaderLog, IsReadInTheFormsOfOtherDrivers) {
    const std::vector<ShaderComplaint> read =
        ReadShaderLog("WARNING: 0:3: odd\n0(4) : warning C7: odd\nERROR: 0:12: 'x' : undeclared\n"
                      "0(34) : error C1503: undefined variable \"x\"\n2 errors.\n0:5(6): error: bad\n");
    ASSERT_EQ(3u, read.size());
    const int places[3][2] = {{12, 0}, {34, 0}, {5, 6}};
    const char* const messages[] = {"'x' : undeclared", "error C1503: undefined variable \"x\"", "bad"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(read[i].line, places[i][0]);
        EXPECT_EQ(read[i].column, places[i][1]);
        EXPECT_EQ(read[i].message, messages[i]);
    }
    EXPECT_EQ("what?", ReadShaderLog("what?\n").at(0).message);
    EXPECT_TRUE(ReadShaderLog("").empty());
}

// Shader programs from text and files, judged by what they draw and by what is printed.
#include "shadering.h"

#include "gl_files.h"
#include "materials.h"

#include <cstring>

const std::string VERTEX = "void main() { gl_Position = gl_Vertex; }\n";
const std::string GREEN_MAIN = "void main() { gl_FragColor = vec4(0.0, 1.0, 0.0, 1.0); }\n";
const std::array<int, 3> GREEN = {0, 255, 0}, RED = {255, 0, 0};

class ShaderingTest : public GlFilesTest {
protected:
    static std::array<int, 3> drawn(Shader& shader) {
        shader.Bind();
        glRectf(-1, -1, 1, 1);
        shader.Unbind();
        return pixel(32, 32);
    }
    static std::string load(Shader& shader, const std::string& text) {
        write("shaders/test.shad", text);
        return printed([&] { EXPECT_TRUE(shader.LoadMetaFile("shaders\\test.shad")); });
    }
};

TEST_F(ShaderingTest, MetaFilesBuildTheSameProgram) {
    EXPECT_EQ(printed([] { EXPECT_TRUE(setupExtensions()); }), "");
    // The included text joins the line after it: "/" and "/ joined" make a comment.
    write("shaders/include/common.glsl", "vec4 green() { return vec4(0.0, 1.0, 0.0, 1.0); } /");
    const std::string texts[] = {
        "#SECTION VERTEX\n" + VERTEX + "#SECTION FRAGMENT\n" + GREEN_MAIN,
        "dropped\n#SECTION FRAGMENT\n" + GREEN_MAIN + "#SECTION VERTEX\n" + VERTEX,
        "#section vertex\r\n" + VERTEX + "\r\n\r\n  #Section  fragment\r\n" + GREEN_MAIN,
        "#SECTION VERTEX\nvoid main() {\n#SECTION FRAGMENT\n" + GREEN_MAIN +
            "#SECTION VERTEX\n#SECTION OTHER\n#SECTION\ngl_Position = gl_Vertex; }",
        "#INCLUDE \"common.glsl\"\n#SECTION VERTEX\n" + VERTEX +
            "#SECTION FRAGMENT\n#include <common.glsl>\n\n/ joined\nvoid main() { gl_FragColor = green(); }",
    };
    for (const std::string& text : texts) {
        Shader shader;
        EXPECT_EQ(load(shader, text), "") << text;
        EXPECT_EQ(drawn(shader), GREEN) << text;
    }
}

TEST_F(ShaderingTest, BadTextIsReportedAndSurvived) {
    write("shaders/include/directory/a", "");
    const std::string sources = "#SECTION VERTEX\n" + VERTEX + "#SECTION FRAGMENT\n" + GREEN_MAIN;
    const std::string cut = "WARNING: reached maxlinelen of 256, truncating line\n";
    Shader shader;
    for (const char* name : {"\"none.glsl\"", "", "\"", "\"\"", "a", "\"directory\"", "\"..\""})
        EXPECT_EQ(load(shader, sources + "#INCLUDE " + name), "INCLEUD FILE DOENT EXIST!!@\n") << name;
    EXPECT_EQ(load(shader, sources + "#INCLUDE " + std::string(300, 'x')),
              cut + "INCLEUD FILE DOENT EXIST!!@\n");
    EXPECT_EQ(load(shader, sources + "//" + std::string(300, '\xff')), cut);
    EXPECT_EQ(drawn(shader), GREEN);
    std::string output = load(shader, "#SECTION VERTEX\nnonsense\n#SECTION FRAGMENT\n" + GREEN_MAIN);
    EXPECT_EQ(output.rfind("VERT ERROR( VERT ): \n", 0), 0u) << output;
    EXPECT_EQ(output.find("FRAG ERROR"), std::string::npos);
    EXPECT_EQ(printed([&] { EXPECT_FALSE(shader.LoadMetaFile("none.shad")); }), "SHADER DONT EXIST!!@\n");
}

TEST_F(ShaderingTest, UniformsAreIndexedByDeclaration) {
    Shader shader;
    load(shader, "#SECTION VERTEX\n" + VERTEX + "#SECTION FRAGMENT\n" +
                     "uniform float red, unused; uniform vec3 rest; uniform int n;\n"
                     "void main() { gl_FragColor = vec4(red, rest.x, float(n), 1.0); }");
    EXPECT_EQ(printed([&] { shader.DeclareUniform(9, "unused", 1, true); }),
              "Err -1: Uniform unused not found!\n");
    shader.DeclareUniform(9, "rest", 3, true);
    shader.DeclareUniform(9, "red", 1, true);
    shader.DeclareUniform(9, "n", 1, false);
    shader.DeclareUniform(9, "n", 2, false);
    const int kinds[] = {1, 0, 2, 3};
    ASSERT_EQ(shader.uniformCount, 4);
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(shader.uniforms[i].kind, kinds[i]);
    float one = 1;
    shader.Bind();
    for (int index : {-1, 0, 1, 2, 3, 4, 1 << 30})
        shader.UpdateUniform(index, &one);
    EXPECT_EQ(drawn(shader), RED);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
}

TEST_F(ShaderingTest, ProgramsFromSeparateFiles) {
    write("v.glsl", VERTEX);
    write("f.glsl", GREEN_MAIN);
    write("bad.glsl", "nonsense");
    Shader shader;
    EXPECT_EQ(printed([&] {
                  makeprogram(shader.program, shader.vertShader, shader.fragShader, ".\\v.glsl", "f.glsl");
              }),
              "");
    EXPECT_EQ(drawn(shader), GREEN);
    strcpy(shader.fragPath, ".\\bad.glsl");
    EXPECT_NE(printed([&] { shader.Compile(); }).find("FRAG ERROR( ./bad.glsl ): \n"), std::string::npos);
}

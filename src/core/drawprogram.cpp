// The shader programs for large draws. The entry points to build them belong to this file.
#include "drawprogram.h"

#include "opengl.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace {

constexpr int kFewestVertices = 256; // of a draw that is worth building a program
constexpr double kLanguage = 1.3;    // the version of the shading language

const char kVertexMain[] = R"(void main() {
    gl_Position = ftransform();
    colour = clamp(gl_Color, 0.0, 1.0);
    texCoord = (gl_TextureMatrix[0] * gl_MultiTexCoord0).st;
})";
const char kWhiteMain[] = "uniform sampler2D image;\n"
                          "void main() { gl_FragColor = texture(image, texCoord); }";
const char kPlainMain[] = "void main() { gl_FragColor = colour; }";
const char kTexturedMain[] = "uniform sampler2D image;\n"
                             "void main() { gl_FragColor = colour * texture(image, texCoord); }";

PFNGLCREATEPROGRAMPROC createProgram = nullptr;
PFNGLCREATESHADERPROC createShader = nullptr;
PFNGLSHADERSOURCEPROC shaderSource = nullptr;
PFNGLCOMPILESHADERPROC compileShader = nullptr;
PFNGLATTACHSHADERPROC attachShader = nullptr;
PFNGLDELETESHADERPROC deleteShader = nullptr;
PFNGLLINKPROGRAMPROC linkProgram = nullptr;
PFNGLGETPROGRAMIVPROC getProgramiv = nullptr;
PFNGLDELETEPROGRAMPROC deleteProgram = nullptr;

bool fetchEntryPoints() {
    fetchGlFunction(createProgram, "glCreateProgram");
    fetchGlFunction(createShader, "glCreateShader");
    fetchGlFunction(shaderSource, "glShaderSource");
    fetchGlFunction(compileShader, "glCompileShader");
    fetchGlFunction(attachShader, "glAttachShader");
    fetchGlFunction(deleteShader, "glDeleteShader");
    fetchGlFunction(linkProgram, "glLinkProgram");
    fetchGlFunction(getProgramiv, "glGetProgramiv");
    fetchGlFunction(deleteProgram, "glDeleteProgram");
    return createProgram && createShader && shaderSource && compileShader && attachShader && deleteShader &&
           linkProgram && getProgramiv && deleteProgram;
}

bool languageSuffices() {
    const auto* version = reinterpret_cast<const char*>(glGetString(GL_SHADING_LANGUAGE_VERSION));
    return version && atof(version) >= kLanguage;
}

void addStage(unsigned program, unsigned stage, const DrawKind& kind, const char* main) {
    const bool vertex = stage == GL_VERTEX_SHADER;
    const char* parts[] = {"#version 130\n", vertex ? "flat out vec4 colour;\n" : "flat in vec4 colour;\n",
                           kind.perspective ? "smooth " : "noperspective ",
                           vertex ? "out vec2 texCoord;\n" : "in vec2 texCoord;\n", main};
    const unsigned shader = createShader(stage);
    shaderSource(shader, static_cast<GLsizei>(std::size(parts)), parts, nullptr);
    compileShader(shader);
    attachShader(program, shader);
    deleteShader(shader); // once the program is gone
}

const char* fragmentMain(const DrawKind& kind) {
    if (!kind.textured)
        return kPlainMain;
    return kind.white ? kWhiteMain : kTexturedMain;
}

/// @return 0 when the driver refuses it
unsigned build(const DrawKind& kind) {
    const unsigned program = createProgram();
    addStage(program, GL_VERTEX_SHADER, kind, kVertexMain);
    addStage(program, GL_FRAGMENT_SHADER, kind, fragmentMain(kind));
    linkProgram(program);
    GLint linked = 0;
    getProgramiv(program, GL_LINK_STATUS, &linked);
    if (linked)
        return program;
    deleteProgram(program);
    return 0;
}

} // namespace

DrawPrograms::DrawPrograms() : available(false), programs{} {}

void DrawPrograms::Reset(bool wanted) {
    std::fill(std::begin(programs), std::end(programs), 0u);
    available = wanted && languageSuffices() && fetchEntryPoints();
}

void DrawPrograms::Release() {
    for (unsigned& program : programs) {
        if (program != 0)
            deleteProgram(program);
        program = 0;
    }
}

unsigned DrawPrograms::For(const DrawKind& kind, int vertices) {
    if (!available)
        return 0;
    unsigned& program = programs[kind.textured + 2 * kind.white + 4 * kind.perspective];
    if (program == 0 && vertices >= kFewestVertices) {
        program = build(kind);
        available = program != 0;
    }
    return program;
}

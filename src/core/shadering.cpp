// Extension entry points, shader source splitting, program building and render-target set-up.
// The entry points live here; every OpenGL object made belongs to the caller whose handle it fills.
#include "shadering.h"

#include "materials.h"
#include "opengl.h"
#include "strfuncs.h"

#include <cstdint>
#include <cstdio>

namespace {

// Entry points, in the order they are fetched; null until setupExtensions.
PFNGLCREATEPROGRAMOBJECTARBPROC createProgramObject;
PFNGLDELETEOBJECTARBPROC deleteObject;
PFNGLCREATESHADEROBJECTARBPROC createShaderObject;
PFNGLSHADERSOURCEARBPROC shaderSource;
PFNGLCOMPILESHADERARBPROC compileShader;
PFNGLGETOBJECTPARAMETERIVARBPROC getObjectParameteriv;
PFNGLATTACHOBJECTARBPROC attachObject;
PFNGLGETINFOLOGARBPROC getInfoLog;
PFNGLLINKPROGRAMARBPROC linkProgram;
PFNGLUSEPROGRAMOBJECTARBPROC useProgramObject;
PFNGLGETUNIFORMLOCATIONARBPROC getUniformLocation;
PFNGLUNIFORM1FARBPROC uniform1f;
PFNGLUNIFORM1IARBPROC uniform1i;
PFNGLUNIFORM2FARBPROC uniform2f;
PFNGLUNIFORM3FARBPROC uniform3f;
PFNGLGENFRAMEBUFFERSEXTPROC genFramebuffers;
PFNGLBINDFRAMEBUFFEREXTPROC bindFramebuffer;
PFNGLGENRENDERBUFFERSEXTPROC genRenderbuffers;
PFNGLBINDRENDERBUFFEREXTPROC bindRenderbuffer;
PFNGLRENDERBUFFERSTORAGEEXTPROC renderbufferStorage;
PFNGLFRAMEBUFFERRENDERBUFFEREXTPROC framebufferRenderbuffer;
PFNGLFRAMEBUFFERTEXTURE2DEXTPROC framebufferTexture2D;
PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC checkFramebufferStatus;
PFNGLDELETEFRAMEBUFFERSEXTPROC deleteFramebuffers;
PFNGLDELETERENDERBUFFERSEXTPROC deleteRenderbuffers;
PFNGLGENERATEMIPMAPEXTPROC generateMipmap;
PFNGLACTIVETEXTUREARBPROC activeTexture;

bool hasShaderExtensions() {
    const GLubyte* raw = glGetString(GL_EXTENSIONS);
    const char* list = raw ? reinterpret_cast<const char*>(raw) : "";
    return findString("GL_ARB_shader_objects", list) && findString("GL_ARB_shading_language_100", list) &&
           findString("GL_ARB_vertex_shader", list) && findString("GL_ARB_fragment_shader", list);
}

/// @return false when one of them is not there.
bool fetchShaderFunctions() {
    bool complete = true;
    auto fetch = [&complete](auto& function, const char* name) {
        fetchGlFunction(function, name);
        complete = complete && function;
    };
    fetch(createProgramObject, "glCreateProgramObjectARB");
    fetch(deleteObject, "glDeleteObjectARB");
    fetch(createShaderObject, "glCreateShaderObjectARB");
    fetch(shaderSource, "glShaderSourceARB");
    fetch(compileShader, "glCompileShaderARB");
    fetch(getObjectParameteriv, "glGetObjectParameterivARB");
    fetch(attachObject, "glAttachObjectARB");
    fetch(getInfoLog, "glGetInfoLogARB");
    fetch(linkProgram, "glLinkProgramARB");
    fetch(useProgramObject, "glUseProgramObjectARB");
    fetch(getUniformLocation, "glGetUniformLocationARB");
    fetch(uniform1f, "glUniform1fARB");
    fetch(uniform1i, "glUniform1iARB");
    fetch(uniform2f, "glUniform2fARB");
    fetch(uniform3f, "glUniform3fARB");
    return complete;
}

void fetchTargetFunctions() {
    fetchGlFunction(genFramebuffers, "glGenFramebuffersEXT");
    fetchGlFunction(bindFramebuffer, "glBindFramebufferEXT");
    fetchGlFunction(genRenderbuffers, "glGenRenderbuffersEXT");
    fetchGlFunction(bindRenderbuffer, "glBindRenderbufferEXT");
    fetchGlFunction(renderbufferStorage, "glRenderbufferStorageEXT");
    fetchGlFunction(framebufferRenderbuffer, "glFramebufferRenderbufferEXT");
    fetchGlFunction(framebufferTexture2D, "glFramebufferTexture2DEXT");
    fetchGlFunction(checkFramebufferStatus, "glCheckFramebufferStatusEXT");
    fetchGlFunction(deleteFramebuffers, "glDeleteFramebuffersEXT");
    fetchGlFunction(deleteRenderbuffers, "glDeleteRenderbuffersEXT");
    fetchGlFunction(generateMipmap, "glGenerateMipmapEXT");
    fetchGlFunction(activeTexture, "glActiveTextureARB");
}

bool canBuildPrograms() {
    return createProgramObject && createShaderObject && shaderSource && compileShader && attachObject &&
           getInfoLog && linkProgram;
}

bool canBuildTargets() {
    return genFramebuffers && bindFramebuffer && genRenderbuffers && bindRenderbuffer &&
           renderbufferStorage && framebufferRenderbuffer && framebufferTexture2D && checkFramebufferStatus &&
           generateMipmap;
}

// Handles are numbers to us everywhere; one platform's headers call them pointers.
GLhandleARB toHandle(unsigned number) {
    return (GLhandleARB)(std::uintptr_t)number;
}

unsigned toNumber(GLhandleARB handle) {
    return (unsigned)(std::uintptr_t)handle;
}

} // namespace

ShaderObserver* shaderObserver = nullptr;

bool setupExtensions() {
    if (!hasShaderExtensions()) {
        printf("ERRRRRUR");
        return true;
    }
    bool complete = fetchShaderFunctions();
    fetchTargetFunctions();
    if (!complete)
        printf("SHADING FAYUL");
    return true;
}

void glUseProgramObjectARB_PTR(unsigned program) {
    if (useProgramObject)
        useProgramObject(toHandle(program));
}

bool isProgramLinked(unsigned program) {
    GLint linked = 0;
    if (getObjectParameteriv && program)
        getObjectParameteriv(toHandle(program), GL_OBJECT_LINK_STATUS_ARB, &linked);
    return linked != 0;
}

unsigned screenFramebuffer = 0;

void glBindFramebufferEXT_PTR(unsigned target, unsigned framebuffer) {
    if (bindFramebuffer)
        bindFramebuffer(target, framebuffer != 0 ? framebuffer : screenFramebuffer);
}

int glGetUniformLocation_PTR(unsigned program, const char* name) {
    if (!getUniformLocation || !name)
        return -1;
    return getUniformLocation(toHandle(program), name);
}

void glUniform1f_PTR(int location, float value) {
    if (uniform1f)
        uniform1f(location, value);
}

// Render targets

void TexCreateSetupFBO(Texture* tex) {
    if (!tex || tex->width < 1 || tex->height < 1 || !canBuildTargets())
        return;
    genFramebuffers(1, &tex->fbo);
    bindFramebuffer(GL_FRAMEBUFFER_EXT, tex->fbo);

    genRenderbuffers(1, &tex->depthBuffer);
    bindRenderbuffer(GL_RENDERBUFFER_EXT, tex->depthBuffer);
    renderbufferStorage(GL_RENDERBUFFER_EXT, GL_DEPTH_COMPONENT, tex->width, tex->height);
    framebufferRenderbuffer(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT,
                            tex->depthBuffer);

    glBindTexture(GL_TEXTURE_2D, tex->texId);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, tex->width, tex->height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    generateMipmap(GL_TEXTURE_2D);
    framebufferTexture2D(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, tex->texId, 0);
    // An incomplete target shows nothing; the query lets drivers that validate lazily settle it now.
    checkFramebufferStatus(GL_FRAMEBUFFER_EXT);

    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void TexDeleteFBO(Texture* tex) {
    if (tex->fbo && deleteFramebuffers)
        deleteFramebuffers(1, &tex->fbo);
    if (tex->depthBuffer && deleteRenderbuffers)
        deleteRenderbuffers(1, &tex->depthBuffer);
    tex->fbo = tex->depthBuffer = 0;
}

// Shader programs

namespace {

constexpr int kMaxLine = 256; // with the terminator; longer source lines are cut
constexpr int kLogSize = 2000;

/// Prints a shader's info log if it tells of an error.
/// @param quietOnNoErrors some drivers report success as "No errors": keep that to ourselves.
void printShaderErrors(const char* stage, const char* name, unsigned shader, bool quietOnNoErrors) {
    char log[kLogSize] = "";
    getInfoLog(toHandle(shader), kLogSize, nullptr, log); // terminator included
    if (searchString(log, "error", 0) == -1)
        return;
    if (quietOnNoErrors && searchString(log, "No errors", 0) != -1)
        return;
    printf("%s ERROR( %s ): \n%s\n", stage, name, log);
}

void setSource(ShaderStage& stage) {
    const char* start = stage.text.CStr();
    GLint length = stage.text.Len();
    shaderSource(toHandle(stage.shader), 1, &start, &length);
}

void compileInto(unsigned program, const ShaderStage& stage) {
    compileShader(toHandle(stage.shader));
    attachObject(toHandle(program), toHandle(stage.shader));
}

/// Creates, compiles and links.
/// @return the program, whose stages have logs that can be read; 0 when that is not possible here.
unsigned buildProgram(ShaderStage& vert, ShaderStage& frag) {
    if (!canBuildPrograms()) {
        printf("ERR: shaders not available\n");
        return 0;
    }
    const unsigned program = toNumber(createProgramObject());
    vert.shader = toNumber(createShaderObject(GL_VERTEX_SHADER_ARB));
    frag.shader = toNumber(createShaderObject(GL_FRAGMENT_SHADER_ARB));
    setSource(vert);
    setSource(frag);
    compileInto(program, vert);
    compileInto(program, frag);
    linkProgram(toHandle(program));
    return program;
}

/// Notes that what is appended to stage next comes from that place of a file.
void notePiece(ShaderStage& stage, const char* file, int from) {
    if (shaderObserver)
        stage.pieces.push_back({stage.text.Len(), nativePath(file), from});
}

/// Appends the file that an #INCLUDE line names to stage; without a stage the text is dropped.
void appendInclude(const char* line, const char* dir, ShaderStage* stage) {
    char quoted[kMaxLine] = "";
    GetLineWord(line, quoted, 1);
    int nameLength = strlength(quoted) - 2;
    DataBlock path(dir);
    path.Append("include\\");
    if (nameLength > 0)
        path.Append(quoted + 1, nameLength);

    DataBlock text;
    if (nameLength < 1 || !text.ReadFile(path.CStr()))
        printf("INCLEUD FILE DOENT EXIST!!@\n");
    else if (stage) {
        notePiece(*stage, path.CStr(), 0);
        stage->text.Append(&text);
    }
}

/// The stage that a #SECTION line selects: current unless it names one.
ShaderStage* selectStage(const char* line, ShaderStage* current, ShaderStage& vert, ShaderStage& frag) {
    char name[kMaxLine] = "";
    GetLineWord(line, name, 1);
    if (strequal(name, "VERTEX", false))
        return &vert;
    return strequal(name, "FRAGMENT", false) ? &frag : current;
}

void splitStages(const char* src, const char* dir, const char* path, ShaderStage& vert, ShaderStage& frag) {
    ShaderStage* stage = nullptr;
    char line[kMaxLine];
    for (int cursor = 0; cursor != -1;) {
        const int start = cursor;
        GetNextLine(src, cursor, line, kMaxLine);
        char directive[kMaxLine] = "";
        GetLineWord(line, directive, 0);
        if (strequal(directive, "#SECTION", false)) {
            stage = selectStage(line, stage, vert, frag);
        } else if (strequal(directive, "#INCLUDE", false)) {
            appendInclude(line, dir, stage);
        } else if (stage && *line) {
            notePiece(*stage, path, start);
            stage->text.Append(line);
            stage->text.Append('\n');
        }
    }
}

} // namespace

void ParseShaderSrc(const char* src, unsigned& program, unsigned& vertShader, unsigned& fragShader,
                    const char* dir, const char* path) {
    ShaderStage vert, frag;
    splitStages(src ? src : "", dir ? dir : "", path, vert, frag);
    vert.text.AppendNull();
    frag.text.AppendNull();
    program = buildProgram(vert, frag);
    vertShader = vert.shader;
    fragShader = frag.shader;
    if (!program)
        return;
    printShaderErrors("VERT", "VERT", vertShader, true);
    printShaderErrors("FRAG", "FRAG", fragShader, true);
    if (shaderObserver)
        shaderObserver->ProgramBuilt(path, program, vert, frag);
}

void makeprogram(unsigned& program, unsigned& vertShader, unsigned& fragShader, const char* vertFile,
                 const char* fragFile) {
    ShaderStage vert, frag;
    notePiece(vert, vertFile, 0);
    notePiece(frag, fragFile, 0);
    vert.text.ReadFile(vertFile);
    frag.text.ReadFile(fragFile);
    program = buildProgram(vert, frag);
    vertShader = vert.shader;
    fragShader = frag.shader;
    if (!program)
        return;
    printShaderErrors("VERT", nativePath(vertFile).c_str(), vertShader, false);
    printShaderErrors("FRAG", nativePath(fragFile).c_str(), fragShader, false);
    if (shaderObserver)
        shaderObserver->ProgramBuilt("", program, vert, frag);
}

void readfile(const char* path, char* buffer) {
    constexpr size_t kPiece = 100;
    size_t length = 0;
    if (FILE* file = openForReading(path, "rb")) {
        size_t got;
        do {
            got = fread(buffer + length, 1, kPiece, file);
            length += got;
        } while (got == kPiece);
        fclose(file);
    }
    buffer[length] = 0;
}

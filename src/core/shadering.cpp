// Extension entry points, shader source splitting, program building and render-target set-up.
// The entry points live here; every OpenGL object made belongs to the caller whose handle it fills.
#include "shadering.h"

#include "datablock.h"
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

void glBindFramebufferEXT_PTR(unsigned target, unsigned framebuffer) {
    if (bindFramebuffer)
        bindFramebuffer(target, framebuffer);
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

void setSource(unsigned shader, DataBlock& text) {
    const char* start = text.CStr();
    GLint length = text.Len();
    shaderSource(toHandle(shader), 1, &start, &length);
}

void compileInto(unsigned program, unsigned shader) {
    compileShader(toHandle(shader));
    attachObject(toHandle(program), toHandle(shader));
}

/// Creates, compiles and links; the handles are 0 when that is not possible here.
/// @return whether there are shader objects whose logs can be read.
bool buildProgram(unsigned& program, unsigned& vertShader, unsigned& fragShader, DataBlock& vertText,
                  DataBlock& fragText) {
    program = vertShader = fragShader = 0;
    if (!canBuildPrograms()) {
        printf("ERR: shaders not available\n");
        return false;
    }
    program = toNumber(createProgramObject());
    vertShader = toNumber(createShaderObject(GL_VERTEX_SHADER_ARB));
    fragShader = toNumber(createShaderObject(GL_FRAGMENT_SHADER_ARB));
    setSource(vertShader, vertText);
    setSource(fragShader, fragText);
    compileInto(program, vertShader);
    compileInto(program, fragShader);
    linkProgram(toHandle(program));
    return true;
}

/// Appends the file that an #INCLUDE line names to stage; without a stage the text is dropped.
void appendInclude(const char* line, const char* dir, DataBlock* stage) {
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
    else if (stage)
        stage->Append(&text);
}

/// The stage that a #SECTION line selects: current unless it names one.
DataBlock* selectStage(const char* line, DataBlock* current, DataBlock& vertText, DataBlock& fragText) {
    char name[kMaxLine] = "";
    GetLineWord(line, name, 1);
    if (strequal(name, "VERTEX", false))
        return &vertText;
    return strequal(name, "FRAGMENT", false) ? &fragText : current;
}

void splitStages(const char* src, const char* dir, DataBlock& vertText, DataBlock& fragText) {
    DataBlock* stage = nullptr;
    char line[kMaxLine];
    for (int cursor = 0; cursor != -1;) {
        GetNextLine(src, cursor, line, kMaxLine);
        char directive[kMaxLine] = "";
        GetLineWord(line, directive, 0);
        if (strequal(directive, "#SECTION", false)) {
            stage = selectStage(line, stage, vertText, fragText);
        } else if (strequal(directive, "#INCLUDE", false)) {
            appendInclude(line, dir, stage);
        } else if (stage && *line) {
            stage->Append(line);
            stage->Append('\n');
        }
    }
}

} // namespace

void ParseShaderSrc(const char* src, unsigned& program, unsigned& vertShader, unsigned& fragShader,
                    const char* dir) {
    DataBlock vertText, fragText;
    splitStages(src ? src : "", dir ? dir : "", vertText, fragText);
    vertText.AppendNull();
    fragText.AppendNull();
    if (!buildProgram(program, vertShader, fragShader, vertText, fragText))
        return;
    printShaderErrors("VERT", "VERT", vertShader, true);
    printShaderErrors("FRAG", "FRAG", fragShader, true);
}

void makeprogram(unsigned& program, unsigned& vertShader, unsigned& fragShader, const char* vertFile,
                 const char* fragFile) {
    DataBlock vertText, fragText;
    vertText.ReadFile(vertFile);
    fragText.ReadFile(fragFile);
    if (!buildProgram(program, vertShader, fragShader, vertText, fragText))
        return;
    printShaderErrors("VERT", nativePath(vertFile).c_str(), vertShader, false);
    printShaderErrors("FRAG", nativePath(fragFile).c_str(), fragShader, false);
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

// Replacing shader programs. The entry points are fetched from the current context by the first call.
#include "programs.h"

#include "materials.h"
#include "opengl.h"
#include "shadering.h"

#include <cstdint>
#include <vector>

namespace {

struct EntryPoints {
    PFNGLGETOBJECTPARAMETERIVARBPROC getParameter = nullptr;
    PFNGLGETINFOLOGARBPROC getLog = nullptr;
    PFNGLDELETEOBJECTARBPROC deleteObject = nullptr;
    PFNGLGETACTIVEUNIFORMARBPROC getActiveUniform = nullptr;
    PFNGLGETUNIFORMFVARBPROC getUniform = nullptr;
    bool complete = false;
};

const EntryPoints& gl() {
    static const EntryPoints fetched = [] {
        EntryPoints points;
        fetchGlFunction(points.getParameter, "glGetObjectParameterivARB");
        fetchGlFunction(points.getLog, "glGetInfoLogARB");
        fetchGlFunction(points.deleteObject, "glDeleteObjectARB");
        fetchGlFunction(points.getActiveUniform, "glGetActiveUniformARB");
        fetchGlFunction(points.getUniform, "glGetUniformfvARB");
        points.complete = points.getParameter && points.getLog && points.deleteObject &&
                          points.getActiveUniform && points.getUniform;
        return points;
    }();
    return fetched;
}

// Handles are numbers to us everywhere; one platform's headers call them pointers.
GLhandleARB toHandle(unsigned number) {
    return (GLhandleARB)(std::uintptr_t)number;
}

int parameter(unsigned object, GLenum name) {
    GLint value = 0;
    if (object != 0 && gl().complete)
        gl().getParameter(toHandle(object), name, &value);
    return value;
}

std::string logOf(unsigned object) {
    const int length = parameter(object, GL_OBJECT_INFO_LOG_LENGTH_ARB);
    if (length < 2)
        return "";
    std::string log(static_cast<std::size_t>(length), '\0');
    gl().getLog(toHandle(object), length, nullptr, log.data());
    log.pop_back();
    return log;
}

struct ActiveUniform {
    std::string name; // "" beyond the last
    GLenum type = 0;
};

ActiveUniform activeUniform(unsigned program, int index) {
    char name[256] = "";
    GLint size = 0;
    ActiveUniform uniform;
    gl().getActiveUniform(toHandle(program), static_cast<GLuint>(index), sizeof name, nullptr, &size,
                          &uniform.type, name);
    uniform.name = name;
    return uniform;
}

bool isFloat(unsigned program, const std::string& name) {
    for (int i = parameter(program, GL_OBJECT_ACTIVE_UNIFORMS_ARB) - 1; i >= 0; --i) {
        const ActiveUniform uniform = activeUniform(program, i);
        if (uniform.name == name)
            return uniform.type == GL_FLOAT;
    }
    return false;
}

// The script's table knows uniforms by their location alone: the old program tells their names.
void carryUniforms(Shader& shader, unsigned program) {
    std::vector<int> moved(static_cast<std::size_t>(shader.uniformCount), -1);
    glUseProgramObjectARB_PTR(program);
    for (int i = parameter(shader.program, GL_OBJECT_ACTIVE_UNIFORMS_ARB) - 1; i >= 0; --i) {
        const std::string name = activeUniform(shader.program, i).name;
        const int before = glGetUniformLocation_PTR(shader.program, name.c_str());
        const int after = isFloat(program, name) ? glGetUniformLocation_PTR(program, name.c_str()) : -1;
        for (std::size_t k = 0; k < moved.size() && before >= 0; ++k)
            if (shader.uniforms[k].location == before)
                moved[k] = after;
        GLfloat value[16] = {}; // the largest type's
        if (before >= 0)
            gl().getUniform(toHandle(shader.program), before, value);
        if (after >= 0)
            glUniform1f_PTR(after, value[0]);
    }
    for (std::size_t k = 0; k < moved.size(); ++k)
        shader.uniforms[k].location = moved[k];
}

} // namespace

unsigned CurrentProgram() {
    GLint current = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    return static_cast<unsigned>(current);
}

std::string ProgramLog(const Shader& shader) {
    return logOf(shader.vertShader) + logOf(shader.fragShader) + logOf(shader.program);
}

void DeleteProgram(const Shader& shader) {
    for (const unsigned object : {shader.program, shader.vertShader, shader.fragShader})
        if (object != 0 && gl().complete)
            gl().deleteObject(toHandle(object));
}

void ReplaceProgram(Shader& shader, const Shader& fresh) {
    const unsigned current = CurrentProgram();
    carryUniforms(shader, fresh.program);
    glUseProgramObjectARB_PTR(current == shader.program ? 0 : current);
    DeleteProgram(shader);
    shader.program = fresh.program;
    shader.vertShader = fresh.vertShader;
    shader.fragShader = fresh.fragShader;
    shader.linked = fresh.linked;
}

// Replacing shader programs. The entry points are fetched from the current context by the first call.
#include "programs.h"

#include "materials.h"
#include "opengl.h"
#include "shadering.h"

#include <cstdint>
#include <map>
#include <utility>

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

struct UniformValue {
    std::string name;
    float value; // the first one, of what is no single number
};

// @return a program's uniforms by their locations
std::map<int, UniformValue> uniformsOf(unsigned program) {
    std::map<int, UniformValue> uniforms;
    for (int i = parameter(program, GL_OBJECT_ACTIVE_UNIFORMS_ARB) - 1; i >= 0; --i) {
        const std::string name = activeUniform(program, i).name;
        const int location = glGetUniformLocation_PTR(program, name.c_str());
        GLfloat value[16] = {}; // the largest type's
        if (location < 0)
            continue; // the language's own
        gl().getUniform(toHandle(program), location, value);
        uniforms[location] = {name, value[0]};
    }
    return uniforms;
}

// Sets the uniform in the current program.
// @return its location there; -1 where it has none
int carryUniform(unsigned program, const UniformValue& uniform) {
    const int location =
        isFloat(program, uniform.name) ? glGetUniformLocation_PTR(program, uniform.name.c_str()) : -1;
    if (location >= 0)
        glUniform1f_PTR(location, uniform.value);
    return location;
}

// By shader and index in the script's table, which knows uniforms by their locations alone: what each was
// when a program last had it. One that the author takes out may come back.
std::map<std::pair<const Shader*, int>, UniformValue> declaredUniforms;

void carryUniforms(Shader& shader, unsigned program) {
    const std::map<int, UniformValue> before = uniformsOf(shader.program);
    glUseProgramObjectARB_PTR(program);
    for (const auto& entry : before)
        carryUniform(program, entry.second);
    for (int i = 0; i < shader.uniformCount; ++i) {
        int& location = shader.uniforms[i].location;
        UniformValue& declared = declaredUniforms[{&shader, i}];
        const auto held = before.find(location);
        if (held != before.end())
            declared = held->second;
        location = carryUniform(program, declared);
    }
}

} // namespace

unsigned CurrentProgram() {
    GLint current = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    return static_cast<unsigned>(current);
}

bool IsCompiled(unsigned shader) {
    return parameter(shader, GL_OBJECT_COMPILE_STATUS_ARB) != 0;
}

std::string LogOf(unsigned object) {
    const int length = parameter(object, GL_OBJECT_INFO_LOG_LENGTH_ARB);
    if (length < 2)
        return "";
    std::string log(static_cast<std::size_t>(length), '\0');
    gl().getLog(toHandle(object), length, nullptr, log.data());
    log.pop_back();
    return log;
}

void DeleteProgram(const Shader& shader) {
    for (const unsigned object : {shader.program, shader.vertShader, shader.fragShader})
        if (object != 0 && gl().complete)
            gl().deleteObject(toHandle(object));
}

void ForgetUniforms() {
    declaredUniforms.clear();
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

// Shader: a program from its meta file, and the table of its uniforms.
// The program and its shader objects are made in shadering.cpp and left to the context.
#include "materials.h"

#include "shadering.h"

#include <cstdio>

Shader::Shader()
    : vertPath(), fragPath(), program(0), vertShader(0), fragShader(0), uniforms(nullptr), uniformCount(0),
      linked(false) {}

Shader::~Shader() = default;

bool Shader::LoadMetaFile(const char* path) {
    DataBlock text;
    if (!path || !text.ReadFile(path)) {
        printf("SHADER DONT EXIST!!@\n");
        return false;
    }
    text.AppendNull();
    DataBlock directory;
    directory.AssignFromDirectory(path);
    ParseShaderSrc(text.CStr(), program, vertShader, fragShader, directory.CStr(), path);
    linked = isProgramLinked(program);
    return true;
}

void Shader::Compile() {
    makeprogram(program, vertShader, fragShader, vertPath, fragPath);
    linked = isProgramLinked(program);
}

void Shader::Bind() {
    glUseProgramObjectARB_PTR(program);
}

void Shader::Unbind() {
    glUseProgramObjectARB_PTR(0);
}

void Shader::DeclareUniform(int, const char* name, int count, bool isFloat) {
    int location = glGetUniformLocation_PTR(program, name);
    if (location < 0) {
        printf("Err %i: Uniform %s not found!\n", location, name ? name : "");
        return;
    }
    UniformEntry entry = {location, (count == 1 ? 0 : 1) + (isFloat ? 0 : 2)};
    uniformBlock.Append(reinterpret_cast<unsigned char*>(&entry), sizeof(entry));
    uniforms = reinterpret_cast<UniformEntry*>(uniformBlock.Ptr());
    uniformCount++;
}

void Shader::UpdateUniform(int index, void* value) {
    if (index < 0 || index >= uniformCount || !value)
        return;
    if (uniforms[index].kind == 0)
        glUniform1f_PTR(uniforms[index].location, *static_cast<float*>(value));
}

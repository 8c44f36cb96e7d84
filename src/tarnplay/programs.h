// Shader programs that take the place of others while the game goes on.
#pragma once

#include <string>

class Shader;

/// @return OpenGL's current program; 0 for none
unsigned CurrentProgram();

/// @return whether the driver takes a shader object's source
bool IsCompiled(unsigned shader);

/// @return what the compiler says about a shader object, or the linker about a program
std::string LogOf(unsigned object);

/// Deletes the program and its two shaders; any may be 0.
void DeleteProgram(const Shader& shader);

/// Forgets what ReplaceProgram knows of uniforms: the shaders are about to be destroyed.
void ForgetUniforms();

/// Gives fresh's program to shader, and to it the values of the uniforms that the script has declared and
/// set. Both must be linked. The old program is deleted. The current program stays so; in place of the old
/// one it is none.
void ReplaceProgram(Shader& shader, const Shader& fresh);

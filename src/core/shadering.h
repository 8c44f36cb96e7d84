// OpenGL extension entry points and what is built straight on them: shader programs and render targets.
// What is made here is owned by the object whose handle fields it fills.
//
// The entry points are module-level pointers inside shadering.cpp, null until setupExtensions has run in a
// current context. Nothing here needs them to be there: without them the four forwarders do nothing, building
// a program leaves its handles 0 after one printed line, and a render target gets no framebuffer. Modules
// above reach the entry points only through the functions below, so they need no extension types.
//
// A shader source text holds both stages of a program:
//
//     #SECTION VERTEX
//     #INCLUDE "lighting.glsl"       <- from the directory "include" beside the source text
//     void main() { ... }
//     #SECTION FRAGMENT
//     void main() { ... }
#pragma once

class Texture;

/// Checks the extension string and fetches the entry points from the current context. Prints "ERRRRRUR" when
/// a shader extension is missing, "SHADING FAYUL" when a shader entry point is, both without a line end.
/// @return true in every case; without the extensions the engine runs on without shaders.
bool setupExtensions();

/// Makes program current; 0 is the fixed-function pipeline.
void glUseProgramObjectARB_PTR(unsigned program);

/// Whether OpenGL accepts program as the current one.
bool isProgramLinked(unsigned program);

/// Binds a framebuffer object to target; 0 is the window.
void glBindFramebufferEXT_PTR(unsigned target, unsigned framebuffer);

/// @return the location of the uniform called name in program, -1 when there is none.
int glGetUniformLocation_PTR(unsigned program, const char* name);

/// Sets a float uniform of the current program.
void glUniform1f_PTR(int location, float value);

/// Creates tex's framebuffer, depth renderbuffer and RGBA8 storage at its width and height. tex must hold a
/// texture name. The framebuffer stays bound, complete or not; without the entry points fbo stays 0.
void TexCreateSetupFBO(Texture* tex);

/// Splits the text src into its two stages and builds a program from them. Lines before the first #SECTION
/// are dropped; the directive and stage words compare without regard to case; an included file is taken as it
/// is, its own directives are not followed. The compiler's complaints are printed per stage.
/// @param dir where "include" lies, with its last separator; empty for the working directory.
void ParseShaderSrc(const char* src, unsigned& program, unsigned& vertShader, unsigned& fragShader,
                    const char* dir);

/// Builds a program from two whole files; a file that cannot be opened gives empty source.
void makeprogram(unsigned& program, unsigned& vertShader, unsigned& fragShader, const char* vertFile,
                 const char* fragFile);

/// Reads a whole file into buffer and terminates it. The buffer must hold the file and one byte more; a file
/// that cannot be opened gives an empty string.
void readfile(const char* path, char* buffer);

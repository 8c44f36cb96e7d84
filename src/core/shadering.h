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

#include "datablock.h"

#include <string>
#include <vector>

class Texture;

/// Bytes of a shader stage's text that were taken from a file as they are, up to the next piece.
struct ShaderPiece {
    int at;           ///< where they begin in the text
    std::string file; ///< path as opened
    int from;         ///< where they begin in the file
};

/// One stage of a program.
struct ShaderStage {
    DataBlock text;                  ///< what the driver gets, its terminator included
    std::vector<ShaderPiece> pieces; ///< of the text, in their order; left empty when nobody listens
    unsigned shader = 0;             ///< the shader object
};

/// Hears of programs that have been built or could not be, after the lines that this module prints.
class ShaderObserver {
public:
    virtual ~ShaderObserver() = default;
    /// @param path of the file that both stages come from; "" for a text or two files
    virtual void ProgramBuilt(const char* path, unsigned program, const ShaderStage& vert,
                              const ShaderStage& frag) = 0;
};

/// The one observer of the process, not owned; null, as in the engine program, when nobody listens.
extern ShaderObserver* shaderObserver;

/// Checks the extension string and fetches the entry points from the current context. Prints "ERRRRRUR" when
/// a shader extension is missing, "SHADING FAYUL" when a shader entry point is, both without a line end.
/// @return true in every case; without the extensions the engine runs on without shaders.
bool setupExtensions();

/// Makes program current; 0 is the fixed-function pipeline.
void glUseProgramObjectARB_PTR(unsigned program);

/// Whether OpenGL accepts program as the current one.
bool isProgramLinked(unsigned program);

/// The framebuffer object that stands for the window: 0, the window itself, as in the engine program, unless
/// a program around the engine draws elsewhere.
extern unsigned screenFramebuffer;

/// Binds a framebuffer object to target; 0 is the window, or what stands for it.
void glBindFramebufferEXT_PTR(unsigned target, unsigned framebuffer);

/// @return the location of the uniform called name in program, -1 when there is none.
int glGetUniformLocation_PTR(unsigned program, const char* name);

/// Sets a float uniform of the current program.
void glUniform1f_PTR(int location, float value);

/// Creates tex's framebuffer, depth renderbuffer and RGBA8 storage at its width and height. tex must hold a
/// texture name. The framebuffer stays bound, complete or not; without the entry points fbo stays 0.
void TexCreateSetupFBO(Texture* tex);

/// Deletes tex's framebuffer, which ends being the bound one, and its depth renderbuffer. The texture stays.
void TexDeleteFBO(Texture* tex);

/// Splits the text src into its two stages and builds a program from them. Lines before the first #SECTION
/// are dropped; the directive and stage words compare without regard to case; an included file is taken as it
/// is, its own directives are not followed. The compiler's complaints are printed per stage.
/// @param dir where "include" lies, with its last separator; empty for the working directory.
/// @param path of the text's file, for the observer.
void ParseShaderSrc(const char* src, unsigned& program, unsigned& vertShader, unsigned& fragShader,
                    const char* dir, const char* path = "");

/// Builds a program from two whole files; a file that cannot be opened gives empty source.
void makeprogram(unsigned& program, unsigned& vertShader, unsigned& fragShader, const char* vertFile,
                 const char* fragFile);

/// Reads a whole file into buffer and terminates it. The buffer must hold the file and one byte more; a file
/// that cannot be opened gives an empty string.
void readfile(const char* path, char* buffer);

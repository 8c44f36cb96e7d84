// Textures, shader programs, screen capture, and lists that load textures and shaders by number.
// Whoever creates a Texture or Shader owns it; OpenGL objects live as long as the context.
//
// A Texture is an image from a file (Load), pixels from memory (Generate) or a render target. Targets come in
// two forms. BeginRTT .. EndRTT draws into the texture through a framebuffer object. BeginRTTFull ..
// EndRTTFull lets the drawing go to the window and copies it from there. Either way DrawRTTFull then puts the
// result on the screen. Where framebuffer objects are missing, BeginRTT .. EndRTT copies from the window as
// well.
//
//     target.BeginRTT(width, height, V4(0, 0, 0, 1));
//     ...draw...
//     target.EndRTT(engine);
//     target.DrawRTTFull(engine);
//
// A Shader is one GLSL program with a table of declared uniforms, addressed by their order of declaration.
#pragma once

#include "datablock.h"
#include "tnq.h"

class CoreThingy;
class V4;

/// A 2D texture object with what it was made from.
class Texture {
public:
    unsigned texId;        // 0 until loaded, generated or first used as a target
    char path[256];        // image file, zero-terminated
    DataBlock pixelBlock;  // storage a caller may keep its pixels in; the engine leaves it empty
    unsigned char* pixels; // RGB rows padded to 4 bytes, for Generate and TexPassEffect; caller's or null
    int width;             // pixels
    int height;            // pixels
    unsigned fbo;          // framebuffer of the render target; 0 until the first BeginRTT
    unsigned depthBuffer;  // depth renderbuffer that belongs to fbo

    Texture();
    ~Texture(); ///< Releases pixelBlock only: texture, framebuffer and renderbuffer live on in the context.

    /// Stores the image path, at most 255 characters of it.
    void SetPath(const char* newPath);

    /// Loads an image file into a new texture object with mipmaps, and leaves it bound. An image beyond the
    /// driver's largest texture is scaled down to it, width and height keep the image's size.
    /// @param newPath stored first; null loads from the path field.
    /// @param flag has no effect.
    /// @return false, with everything but the path unchanged, when the image cannot be read or is empty, and,
    ///         with a line that says so, when it is larger than can be sane (see materials_image.h).
    bool Load(const char* newPath, bool flag);

    /// Uploads pixels at width x height without mipmaps; a size that no texture can have uploads nothing.
    void Generate();

    /// Deletes the texture, the framebuffer and the renderbuffer, as far as there are any, in their context,
    /// which must be current.
    void Release();

    /// Makes this the current 2D texture.
    void Bind();

    /// Leaves no 2D texture bound, whichever was.
    void Unbind();

    /// Redirects drawing into this texture: clears it to clearColour and sets the viewport to its size. The
    /// target's storage is made once, at the first size given. A size below 1 (-1 for instance) keeps the one
    /// before. Every BeginRTT needs its EndRTT, at the same depth of the attribute stack.
    void BeginRTT(int w, int h, const V4& clearColour);

    /// Ends BeginRTT: the viewport from before, drawing goes to the window.
    void EndRTT(CoreThingy* engine);

    /// Draws the texture over -1 .. 1 in x and y with the current matrices and colour, as high as it has
    /// pixels for engine's screen.
    void DrawRTTFull(CoreThingy* engine);

    /// Sizes the texture for a copy of engine's screen: powers of two, kept while the screen fits at up to
    /// twice its size.
    void BeginRTTFull(CoreThingy* engine);

    /// Copies the lower-left width x height pixels of the screen into the texture; clear empties the screen's
    /// colour and depth afterwards.
    void EndRTTFull(bool clear);

    /// DrawRTTFull for a screen of that many rows; a texture without rows draws nothing.
    void DrawForScreen(int screenHeight);

    /// BeginRTTFull for a screen of that size; a size below 1 keeps the one before.
    void FitToScreen(int screenWidth, int screenHeight);
};

/// One declared uniform.
struct UniformEntry {
    int location; // in the program
    int kind;     // 0 one float, 1 floats, 2 one integer, 3 integers
};

/// One GLSL program of a vertex and a fragment shader.
class Shader {
public:
    char vertPath[255];     // read by Compile only, zero-terminated
    char fragPath[255];     // likewise
    unsigned program;       // OpenGL handle; 0 until built, and where shaders are not available
    unsigned vertShader;    // likewise
    unsigned fragShader;    // likewise
    DataBlock uniformBlock; // the storage of uniforms
    UniformEntry* uniforms; // start of uniformBlock, refreshed by DeclareUniform; null while there are none
    int uniformCount;
    bool linked; // OpenGL accepts the program as the current one

    Shader();
    ~Shader(); ///< Releases uniformBlock only: the program lives on in the context.

    /// Reads a meta file and builds the program from it; includes come from "include" beside the file.
    /// @return false, after printing "SHADER DONT EXIST!!@", when the file cannot be opened; true otherwise,
    ///         even when compiling failed.
    bool LoadMetaFile(const char* path);

    /// Builds the program from the files vertPath and fragPath.
    void Compile();

    /// Makes this the current program.
    void Bind();

    /// Returns to the fixed-function pipeline.
    void Unbind();

    /// Appends a uniform to the table. A name that the program does not have is reported and adds nothing, so
    /// that the uniforms declared after it get lower indices.
    /// @param id has no effect.
    /// @param count values the uniform holds; 1 is a single value.
    void DeclareUniform(int id, const char* name, int count, bool isFloat);

    /// Sets a uniform of this program, which must be the current one, from the float that value points to.
    /// Does nothing for an index that is not declared, a null value, and every kind but the single float.
    void UpdateUniform(int index, void* value);
};

/// A list's record of one loaded item.
struct ContentEntry {
    int id;
    void* item; // a Texture or a Shader, by the kind of list
};

/// The ContentEntry records of 256 neighbouring ids. Releases its slots, not the entries.
class ContentSubList : public TNQ {
public:
    ContentSubList() { ownsItems = false; }
};

/// Content found by an id from 0 to 65535 and loaded at its first request. Entries and items are made by
/// LoadItem and outlive the list.
class ContentList {
public:
    ContentSubList subLists[256]; // the entry of an id is in number id / 256

    virtual ~ContentList();

    /// Makes the entry of an item that is not in the list yet; the base list has nothing to load.
    /// @return null when it cannot be loaded.
    virtual ContentEntry* LoadItem(int id);

    /// @return the item with that id, loaded if need be; null when it cannot be loaded (a later request tries
    ///         again) or the id is out of range.
    void* FetchItem(int id);

protected:
    /// FetchItem's search, for lists that need the record itself.
    ContentEntry* privFetchEntry(int id);
};

/// Textures "data\textures\" + five digits of the id + ".png", ".bmp" or ".jpg", the first that loads.
class TextureList : public ContentList {
public:
    ContentEntry* LoadItem(int id) override;

    /// Binds the texture with that id; -1 binds none, an id without a texture changes nothing.
    void Bind(int id);
};

/// Shaders "data\shaders\" + five digits of the id + ".shad".
class ShaderList : public ContentList {
public:
    ContentEntry* current = nullptr; // the shader last bound; null when none is

    /// The entry is made whether or not the meta file loads: without one its program is 0.
    ContentEntry* LoadItem(int id) override;

    /// Makes the shader with that id the current program; -1 returns to the fixed-function pipeline.
    void Bind(int id);
};

/// Writes the lower-left w x h pixels of the screen to dir as a 24-bit bitmap, "capture" + number + ".bmp",
/// the number one above the highest there with at least three digits. Never overwrites a file. Prints the
/// path written; writes nothing when the size is not positive or the file cannot be created.
/// @param dir must exist; null or empty is the working directory.
void CaptureScreen(int w, int h, const char* dir);

/// Runs one step of a cellular pattern over tex's pixels in place; each channel is driven by the pixels above
/// and below right. amount has no effect.
void TexPassEffect(Texture* tex, float amount);

// Texture: images, render targets and the pixel effect.
// Texture, framebuffer and renderbuffer objects are made here and left to the context.
#include "materials.h"

#include "materials_image.h"
#include "numericfuncs.h"
#include "opengl.h"
#include "shadering.h"
#include "strfuncs.h"
#include "tnmath.h"

#include <SFML/Graphics/Image.hpp>
#include <SFML/System/Err.hpp>
#include <cstdio>
#include <sstream>
#include <string>

namespace {

bool hasTextureSize(int w, int h) {
    GLint most = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &most);
    return w > 0 && h > 0 && w <= most && h <= most;
}

/// Decodes a whole file. From memory: reading a file by itself, the library hangs at the end of broken ones.
/// @param reason receives what the library says against the file.
bool decodeImage(const DataBlock& file, sf::Image& image, std::string& reason) {
    constexpr char kBefore[] = "Reason: ";
    std::ostringstream caught;
    std::streambuf* original = sf::err().rdbuf(caught.rdbuf());
    const bool decoded = image.loadFromMemory(file.Ptr(), static_cast<size_t>(file.Len()));
    sf::err().rdbuf(original);
    reason = caught.str();
    const size_t start = reason.find(kBefore);
    reason.erase(0, start == std::string::npos ? 0 : start + sizeof(kBefore) - 1);
    reason.erase(reason.find_last_not_of('\n') + 1);
    return decoded && image.getSize().x > 0 && image.getSize().y > 0;
}

/// Reads an image file and reports a failure as the library would, which writes to its own stream.
bool readImage(const std::string& path, sf::Image& image) {
    DataBlock file;
    std::string reason = "Unable to open file";
    if (file.ReadFile(path.c_str())) {
        const ImageSize size = AnnouncedImageSize(file);
        if (!MayDecodeImage(size, file.Len())) {
            printf("Error: image %s is too large (%lld x %lld in %i bytes)\n", path.c_str(), size.width,
                   size.height, file.Len());
            return false;
        }
        reason = "Damaged file";
        if (!IsDamagedImage(file) && decodeImage(file, image, reason))
            return true;
    }
    sf::err() << "Failed to load image \"" << path << "\". Reason: " << reason << std::endl;
    return false;
}

void setFilters(GLint minify, GLint magnify) {
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minify);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magnify);
}

} // namespace

Texture::Texture() : texId(0), path(), pixels(nullptr), width(0), height(0), fbo(0), depthBuffer(0) {}

Texture::~Texture() = default;

void Texture::SetPath(const char* newPath) {
    strcopy(newPath, path, sizeof(path) - 1);
}

bool Texture::Load(const char* newPath, bool) {
    if (newPath)
        SetPath(newPath);
    sf::Image image;
    if (!readImage(nativePath(path), image))
        return false;

    glGenTextures(1, &texId);
    glBindTexture(GL_TEXTURE_2D, texId);
    width = static_cast<int>(image.getSize().x);
    height = static_cast<int>(image.getSize().y);
    // An image too large for the driver goes through GLU alone, which scales it down.
    const sf::Uint8* rgba = image.getPixelsPtr();
    if (hasTextureSize(width, height))
        glTexImage2D(GL_TEXTURE_2D, 0, 3, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
    gluBuild2DMipmaps(GL_TEXTURE_2D, 4, width, height, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
    setFilters(GL_LINEAR_MIPMAP_LINEAR, GL_LINEAR);
    return true;
}

void Texture::Generate() {
    if (texId == 0)
        glGenTextures(1, &texId);
    Bind();
    if (hasTextureSize(width, height))
        glTexImage2D(GL_TEXTURE_2D, 0, 3, width, height, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels);
    setFilters(GL_LINEAR, GL_LINEAR);
    Unbind();
}

void Texture::Release() {
    TexDeleteFBO(this);
    glDeleteTextures(1, &texId);
    texId = 0;
}

void Texture::Bind() {
    glBindTexture(GL_TEXTURE_2D, texId);
}

void Texture::Unbind() {
    glBindTexture(GL_TEXTURE_2D, 0);
}

void Texture::BeginRTT(int w, int h, const V4& clearColour) {
    if (texId == 0)
        glGenTextures(1, &texId);
    if (w > 0 && h > 0) {
        width = w;
        height = h;
    }
    if (fbo == 0)
        TexCreateSetupFBO(this);
    glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, fbo);
    glClearColor(clearColour.x, clearColour.y, clearColour.z, clearColour.w);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glPushAttrib(GL_VIEWPORT_BIT);
    // A target that never had a size draws to the window: an empty viewport would hide that.
    if (width > 0 && height > 0)
        glViewport(0, 0, width, height);
}

void Texture::EndRTT(CoreThingy*) {
    glPopAttrib();
    glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, 0);
    // Without a framebuffer the drawing went to the window: fetch it from there.
    if (fbo == 0)
        EndRTTFull(true);
}

void Texture::DrawForScreen(int screenHeight) {
    if (height < 1)
        return;
    float top = static_cast<float>(screenHeight) / static_cast<float>(height);
    Bind();
    glBegin(GL_QUADS);
    glTexCoord2f(0, top);
    glVertex3f(-1, 1, 0);
    glTexCoord2f(1, top);
    glVertex3f(1, 1, 0);
    glTexCoord2f(1, 0);
    glVertex3f(1, -1, 0);
    glTexCoord2f(0, 0);
    glVertex3f(-1, -1, 0);
    glEnd();
    Unbind();
}

void Texture::FitToScreen(int screenWidth, int screenHeight) {
    if (texId == 0)
        glGenTextures(1, &texId);
    if (screenWidth < 1 || screenHeight < 1)
        return;
    // The texture may be up to twice the screen; written as a difference, which cannot overflow.
    auto fits = [](int screen, int size) { return screen <= size && size - screen <= screen; };
    if (fits(screenWidth, width) && fits(screenHeight, height))
        return;
    width = NextPowerOfTwo(screenWidth);
    height = NextPowerOfTwo(screenHeight);
}

void Texture::EndRTTFull(bool clear) {
    if (texId != 0 && width > 0 && height > 0) {
        Bind();
        glCopyTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 0, 0, width, height, 0);
        setFilters(GL_LINEAR, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
        Unbind();
    }
    if (clear)
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

// The pixel effect

namespace {

/// Advances one pixel by its neighbours above (a) and below right (b). Either may be the pixel itself, so
/// each channel is settled before the neighbours' values are taken.
void passPixel(unsigned char* pixel, const unsigned char* a, const unsigned char* b) {
    for (int channel = 0; channel < 3; channel++) {
        unsigned char& value = pixel[channel];
        if (value >= 252)
            value = static_cast<unsigned char>(value - 252);
        int sum = a[channel] + b[channel];
        int step = channel == 0 ? sum / 2 : sum;
        value = static_cast<unsigned char>(value + step % 3);
    }
}

} // namespace

void TexPassEffect(Texture* tex, float) {
    if (!tex || !tex->pixels || tex->width < 1 || tex->height < 1)
        return;
    size_t columns = static_cast<size_t>(tex->width);
    size_t rows = static_cast<size_t>(tex->height);
    size_t rowBytes = (columns * 3 + 3) / 4 * 4;
    for (size_t y = 0; y < rows; y++) {
        unsigned char* row = tex->pixels + y * rowBytes;
        const unsigned char* above = tex->pixels + (y + 1) % rows * rowBytes;
        const unsigned char* below = tex->pixels + (y + rows - 1) % rows * rowBytes;
        for (size_t x = 0; x < columns; x++)
            passPixel(row + x * 3, above + x * 3, below + (x + 1) % columns * 3);
    }
}

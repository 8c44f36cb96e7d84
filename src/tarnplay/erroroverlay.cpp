// Drawing messages with the engine's own font and text meshes.
#include "erroroverlay.h"

#include "corethingy.h"
#include "drawjoin.h"
#include "embedded.h"
#include "opengl.h"
#include "programs.h"
#include "shadering.h"

#include <SFML/Graphics/Image.hpp>
#include <algorithm>

namespace {

// In text units, of which one is a cell of the font.
constexpr float kRow = 0.8f;
constexpr float kMargin = 0.6f;

constexpr float kColumns = 44;                 // text units that the window's width is to hold
constexpr float kSmallest = 11, kLargest = 30; // pixels of a text unit

constexpr float kColours[][3] = {
    {1, 0.45f, 0.4f}, {0.85f, 0.87f, 0.9f}, {1, 0.9f, 0.35f}, {0.6f, 0.63f, 0.68f}};

// ---- Text in the font's codes, which are those of Latin-1

// @param start of a character; becomes that of the next
// @return its code point; a byte that is no UTF-8 stands for itself
unsigned nextCodePoint(const std::string& text, std::size_t& start) {
    const auto byte = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned first = byte(start++);
    const std::size_t more = first >= 0xf0 && first < 0xf8 ? 3 : first >= 0xe0 ? 2 : 1;
    if (first < 0xc2 || first >= 0xf8 || start + more > text.size())
        return first;
    unsigned code = first & (0x3fu >> more);
    for (std::size_t i = 0; i < more; ++i) {
        if ((byte(start + i) & 0xc0u) != 0x80)
            return first;
        code = code << 6 | (byte(start + i) & 0x3fu);
    }
    start += more;
    return code;
}

std::string toFont(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const unsigned code = nextCodePoint(text, at);
        const bool shown = code < 0x7f || (code >= 0xa0 && code <= 0xff);
        result += static_cast<char>(shown ? code : '?');
    }
    return result;
}

// The engine's metrics cut some glyphs, for scripts whose texts were laid out with them: these are as wide as
// the glyphs are. Digits keep their common width.
void measure(const sf::Image& image, FontProps& metrics) {
    constexpr unsigned kGap = 5; // columns between glyphs
    const unsigned side = image.getSize().x / 16;
    for (unsigned code = '!'; code < 256; ++code) {
        unsigned first = side, end = 0;
        for (unsigned i = 0; i < side * side; ++i) {
            if (image.getPixel(code % 16 * side + i % side, code / 16 * side + i / side).a < 64)
                continue;
            first = std::min(first, i % side);
            end = std::max(end, i % side + 1);
        }
        if (first >= end)
            continue;
        metrics.offsets[code] = static_cast<float>(first + end) / static_cast<float>(2 * side) - 0.5f;
        if (code < '0' || code > '9')
            metrics.widths[code] = static_cast<float>(end - first + kGap) / static_cast<float>(side);
    }
}

// The bytes from start on that fit.
std::size_t fitting(const std::string& text, std::size_t start, const FontProps& metrics, float widest) {
    float width = 0;
    std::size_t end = start;
    for (; end < text.size(); ++end) {
        width += metrics.widths[static_cast<unsigned char>(text[end])];
        if (width > widest && end > start)
            break;
    }
    return end - start;
}

void drawRectangle(float left, float bottom, float right, float top) {
    glBegin(GL_QUADS);
    glTexCoord2f(0, 0);
    glVertex2f(left, bottom);
    glTexCoord2f(1, 0);
    glVertex2f(right, bottom);
    glTexCoord2f(1, -1); // the engine's texture matrix turns v round
    glVertex2f(right, top);
    glTexCoord2f(0, -1);
    glVertex2f(left, top);
    glEnd();
}

// Pixels of the window from the lower left, and the state that text wants.
void enterScreen(int width, int height) {
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0, width, 0, height, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
    glViewport(0, 0, width, height);
    for (const GLenum off : {GL_LIGHTING, GL_DEPTH_TEST, GL_CULL_FACE, GL_COLOR_LOGIC_OP, GL_POLYGON_SMOOTH})
        glDisable(off);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glDepthMask(GL_FALSE);
    glUseProgramObjectARB_PTR(0);
}

void leaveScreen() {
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
}

} // namespace

void ErrorOverlay::Show(std::vector<OverlayLine> newLines) {
    if (newLines.empty())
        picture.width = 0;
    lines = std::move(newLines);
    for (OverlayLine& line : lines)
        line.text = toFont(line.text);
    builtFor = 0;
}

void ErrorOverlay::Draw(const CoreThingy& core, bool frozen) {
    drawJoin.Sync();
    const int width = core.GetScreenWidth(), height = core.GetScreenHeight();
    if (frozen && picture.width == 0)
        privKeepPicture(width, height);
    const unsigned program = CurrentProgram();
    enterScreen(width, height);
    glEnable(GL_TEXTURE_2D);
    if (frozen) {
        glColor4f(0.3f, 0.3f, 0.3f, 1);
        picture.Bind();
        drawRectangle(0, 0, static_cast<float>(width), static_cast<float>(height));
    }
    privDrawText(width, height);
    leaveScreen();
    glUseProgramObjectARB_PTR(program);
    drawJoin.Adopt();
}

void ErrorOverlay::privKeepPicture(int width, int height) {
    picture.width = width;
    picture.height = height;
    if (picture.texId == 0)
        glGenTextures(1, &picture.texId);
    picture.EndRTTFull(false);
}

void ErrorOverlay::privDrawText(int width, int height) {
    const float unit = std::clamp(static_cast<float>(width) / kColumns, kSmallest, kLargest);
    privLoadFont();
    privBuild(static_cast<float>(width) / unit - 2 * kMargin);
    glPushMatrix();
    glTranslatef(0, static_cast<float>(height), 0);
    glScalef(unit, unit, 1);
    glDisable(GL_TEXTURE_2D);
    glColor4f(0.05f, 0.06f, 0.09f, 0.72f);
    drawRectangle(0, -rows - 2 * kMargin, static_cast<float>(width) / unit, 0);
    glEnable(GL_TEXTURE_2D);
    font.Bind();
    glTranslatef(kMargin, -kMargin - 1, 0);
    for (int kind = 0; kind < 4; ++kind) {
        glColor3fv(kColours[kind]);
        meshes[kind]->Draw();
    }
    glPopMatrix();
}

// Lines that are too long go on in the next row.
void ErrorOverlay::privBuild(float widest) {
    if (builtFor == widest)
        return;
    builtFor = widest;
    rows = 0;
    for (auto& mesh : meshes)
        mesh = std::make_unique<Geometry>();
    for (const OverlayLine& line : lines) {
        std::size_t start = 0;
        do {
            const std::size_t length = fitting(line.text, start, metrics, widest);
            Geometry row;
            row.CreateText(line.text.substr(start, length).c_str(), &metrics, nullptr);
            Matrix place;
            place.Translate(0, -rows, 0);
            meshes[line.kind]->AddGeometry(&row, &place, nullptr);
            rows += kRow;
            start += length;
        } while (start < line.text.size());
    }
}

void ErrorOverlay::privLoadFont() {
    sf::Image image;
    if (font.texId != 0 || !image.loadFromMemory(overlay_font, overlay_font_size))
        return;
    measure(image, metrics);
    glGenTextures(1, &font.texId);
    font.Bind();
    glTexParameteri(GL_TEXTURE_2D, GL_GENERATE_MIPMAP, GL_TRUE);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, static_cast<GLsizei>(image.getSize().x),
                 static_cast<GLsizei>(image.getSize().y), 0, GL_RGBA, GL_UNSIGNED_BYTE, image.getPixelsPtr());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
}

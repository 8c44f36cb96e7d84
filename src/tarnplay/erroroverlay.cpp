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
    glGenTextures(1, &font.texId);
    font.Bind();
    glTexParameteri(GL_TEXTURE_2D, GL_GENERATE_MIPMAP, GL_TRUE);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, static_cast<GLsizei>(image.getSize().x),
                 static_cast<GLsizei>(image.getSize().y), 0, GL_RGBA, GL_UNSIGNED_BYTE, image.getPixelsPtr());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
}

// Text as a mesh of textured quads, and the metrics of the engine's font.
#include "geometry.h"

#include <cstring>

namespace {

/// Sets the entries of all given characters in one of the font's tables.
void setEntries(float* table, const char* characters, float value) {
    for (; *characters; ++characters)
        table[static_cast<unsigned char>(*characters)] = value;
}

/// Fills the 4 vertices (32 floats) of one character whose quad has its lower-left corner at x, y.
void makeGlyph(const FontProps& font, unsigned char code, float x, float y, float* vertices) {
    const float width = font.widths[code];
    const float column = static_cast<float>(code % 16);
    const float row = static_cast<float>(code / 16);
    const float uCentre = (column + 0.5f + font.offsets[code]) / 16;
    const float left = uCentre - width / 32;
    const float right = uCentre + width / 32;
    const float top = 1 - row / 16;
    const float bottom = 1 - (row / 16 + 1.0f / 16);
    const float glyph[4][8] = {
        {x, y, 0, 0, 0, 1, left, bottom},
        {x + width, y, 0, 0, 0, 1, right, bottom},
        {x + width, y + 1, 0, 0, 0, 1, right, top},
        {x, y + 1, 0, 0, 0, 1, left, top},
    };
    memcpy(vertices, glyph, sizeof(glyph));
}

/// Adds amount to one coordinate (0 x, 1 y) of every vertex of the quads from firstQuad on.
void shiftQuads(Geometry& mesh, int firstQuad, int coordinate, float amount) {
    for (int vertex = firstQuad * 4; vertex < mesh.quadCount * 4; ++vertex)
        mesh.quadData[vertex * 8 + coordinate] += amount;
}

int countLineBreaks(const char* text) {
    int count = 0;
    for (; *text; ++text)
        count += *text == '\n';
    return count;
}

float alignmentShift(int align, float lineWidth) {
    if (align >= 1)
        return 0;
    return align == -1 ? -lineWidth : -0.5f * lineWidth;
}

} // namespace

void Geometry::CreateText(const char* text, FontProps* font, GeomTextParams* params) {
    if (!text || !font)
        return;
    const GeomTextParams layout = params ? *params : GeomTextParams();
    const float step = 0.5f + 0.5f * (layout.lineSpacing - 0.25f);
    const int lineBreaks = countLineBreaks(text);
    // Every line break moves what is above it up by one step and the pen down by one, so a line's final place
    // follows from how many breaks are before and after it; moving quads at each break would take quadratic
    // time.
    shiftQuads(*this, 0, 1, step * static_cast<float>(lineBreaks));

    int lineStart = 0; // index of the line's first quad
    int line = 0;
    int made = 0;
    float penX = 0;
    for (;; ++text) {
        if (*text == '\n' || *text == 0) {
            if (layout.align < 1)
                shiftQuads(*this, lineStart, 0, alignmentShift(layout.align, penX));
            if (*text == 0)
                break;
            lineStart = made;
            penX = 0;
            ++line;
            continue;
        }
        const unsigned char code = static_cast<unsigned char>(*text);
        const float penY = -0.5f + step * (static_cast<float>(lineBreaks) - 2 * static_cast<float>(line));
        float vertices[4 * 8];
        makeGlyph(*font, code, penX, penY, vertices);
        if (privAddFace(vertices, 4))
            ++made;
        penX += font->widths[code] + layout.spacing;
    }
    privRefreshData();
    needsCompile = true;
}

FontProps::FontProps() {
    for (int code = 0; code < 256; ++code) {
        widths[code] = 0.5f;
        offsets[code] = 0;
    }
    setEntries(widths, "abcdefghijklmnopqrstuvwxyz", 0.45f);
    setEntries(widths, " ", 0.23f);
    setEntries(widths, "!,.", 0.18f);
    setEntries(widths, "IJ", 0.3f);
    setEntries(widths, "MQ", 0.55f);
    setEntries(widths, "OV", 0.58f);
    setEntries(widths, "S", 0.45f);
    setEntries(widths, "W", 0.68f);
    setEntries(widths, "c", 0.35f);
    setEntries(widths, "e", 0.38f);
    setEntries(widths, "f", 0.32f);
    setEntries(widths, "ijls", 0.25f);
    setEntries(widths, "mw", 0.62f);
    setEntries(widths, "n", 0.5f);
    setEntries(widths, "o", 0.42f);
    setEntries(widths, "r", 0.35f);
    setEntries(widths, "txyz", 0.4f);
    setEntries(offsets, "o", -0.02f);
    setEntries(offsets, "r", -0.025f);
    setEntries(offsets, "t", -0.05f);
}

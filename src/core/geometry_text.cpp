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

/// Appends the quads of one line, left-aligned with its base at y.
/// @return the line's width, the spacing after its last character included
float appendLine(Geometry& mesh, const FontProps& font, const char* text, size_t length, float y,
                 float spacing) {
    float x = 0;
    for (size_t i = 0; i < length; ++i) {
        const unsigned char code = static_cast<unsigned char>(text[i]);
        float vertices[4 * 8];
        makeGlyph(font, code, x, y, vertices);
        mesh.privAddFace(vertices, 4);
        x += font.widths[code] + spacing;
    }
    return x;
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

    const int quadsBefore = quadCount;
    for (int line = 0; line <= lineBreaks; ++line) {
        const int lineStart = quadCount - quadsBefore;
        const size_t length = strcspn(text, "\n");
        const float y = -0.5f + step * static_cast<float>(lineBreaks - 2 * line);
        const float width = appendLine(*this, *font, text, length, y, layout.spacing);
        if (layout.align < 1)
            shiftQuads(*this, lineStart, 0, layout.align == -1 ? -width : -0.5f * width);
        text += length + 1;
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

// make_font FONT.ttf OUT.png: draws the glyph sheet that text meshes sample, 16 x 16 cells, one per
// Latin-1 code. The slot that each glyph has to fit comes from FontProps, so the sheet and the text
// layout cannot disagree.
#include "geometry.h"

#include <SFML/Graphics/Image.hpp>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_BBOX_H
#include FT_OUTLINE_H

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int kCell = 64;           // pixels per cell; 16 cells make a 1024 pixel sheet
constexpr double kEm = 0.74;        // em height in cells, chosen for lines 0.75 cells apart
constexpr double kBaseline = 0.245; // above the cell's bottom: capitals are centred, descenders fit
constexpr double kStretch = 1.14;   // widest a glyph is drawn, a little wide because its slot is
constexpr double kBearing = 0.03;   // least free space on either side of the ink, in cells
constexpr double kStem = 0.12;      // width of the font's upright strokes in ems

/// Pixels to the 26.6 fixed-point unit of FreeType.
FT_Pos fixed(double pixels) {
    return std::lround(pixels * 64.0);
}

bool hasGlyph(int code) {
    return (code > 32 && code < 127) || (code > 160 && code != 173);
}

/// Scales the outline horizontally by `stretch` while upright strokes keep the same weight.
void stretchOutline(FT_Outline& outline, double stretch) {
    for (int i = 0; i < outline.n_points; ++i)
        outline.points[i].x = std::lround(double(outline.points[i].x) * stretch);
    const double stemGrowth = kStem * kEm * kCell * (1.0 - stretch);
    FT_Outline_EmboldenXY(&outline, fixed(stemGrowth), 0);
}

FT_BBox inkBox(FT_Outline& outline) {
    FT_BBox box;
    FT_Outline_Get_BBox(&outline, &box);
    return box;
}

/// Renders one glyph into the cell's coverage bytes, its ink centred on the point that text samples.
void drawGlyph(FT_Library library, FT_Face face, int code, const FontProps& font,
               std::vector<unsigned char>& coverage) {
    if (FT_Load_Char(face, FT_ULong(code), FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP))
        return;
    FT_Outline& outline = face->glyph->outline;
    FT_BBox box = inkBox(outline);
    const double ink = double(box.xMax - box.xMin) / 64.0;
    const double slot = (double(font.widths[code]) - 2.0 * kBearing) * kCell;
    stretchOutline(outline, std::min(kStretch, slot / std::max(ink, 1.0)));

    box = inkBox(outline);
    const double centre = kCell * (0.5 + double(font.offsets[code]));
    FT_Outline_Translate(&outline, fixed(centre) - (box.xMin + box.xMax) / 2, fixed(kCell * kBaseline));

    FT_Bitmap target{};
    target.rows = target.width = kCell;
    target.pitch = kCell;
    target.buffer = coverage.data();
    target.num_grays = 256;
    target.pixel_mode = FT_PIXEL_MODE_GRAY;
    FT_Outline_Get_Bitmap(library, &outline, &target);
}

void copyCell(const std::vector<unsigned char>& coverage, int code, sf::Image& sheet) {
    const unsigned left = unsigned(code % 16 * kCell), top = unsigned(code / 16 * kCell);
    for (unsigned i = 0; i < unsigned(kCell * kCell); ++i)
        sheet.setPixel(left + i % kCell, top + i / kCell, sf::Color(255, 255, 255, coverage[i]));
}

} // namespace

int main(int argc, char** argv) {
    FT_Library library;
    FT_Face face;
    if (argc != 3 || FT_Init_FreeType(&library) || FT_New_Face(library, argv[1], 0, &face)) {
        std::fprintf(stderr, "usage: make_font FONT.ttf OUT.png\n");
        return 1;
    }
    FT_Set_Char_Size(face, fixed(kEm * kCell), 0, 72, 72);

    const FontProps font;
    sf::Image sheet;
    sheet.create(16 * kCell, 16 * kCell, sf::Color(255, 255, 255, 0));
    for (int code = 0; code < 256; ++code) {
        if (!hasGlyph(code))
            continue;
        std::vector<unsigned char> coverage(kCell * kCell, 0);
        drawGlyph(library, face, code, font, coverage);
        copyCell(coverage, code, sheet);
    }
    return sheet.saveToFile(argv[2]) ? 0 : 1;
}

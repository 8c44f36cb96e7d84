// Text meshes: where quads stand, and which part of the font texture they show.
#include "geometry.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

TEST(GeometryText, LaysOutLines) {
    const GeomTextParams left{2, 0.25f, 0}, centred{0, 0, 0}, odd{-2, 0.25f, 0.25f}, right{-1, 0, 0};
    const struct {
        const char *text, *expected; // x and y of each quad's lower left corner
        const GeomTextParams* params;
    } cases[] = {
        {"", "", &right},
        {nullptr, "", nullptr},
        {"AB", "0 -0.5;0.5 -0.5;", nullptr},
        {"AB", "0 -0.5;0.75 -0.5;", &left},
        {"AB", "-0.5 -0.5;0 -0.5;", &centred},
        {"AB", "-1 -0.5;-0.5 -0.5;", &right},
        {" A", "0 -0.5;0.23 -0.5;", nullptr},
        {"A\nB", "0 -0.125;0 -0.875;", nullptr},
        {"A\n", "0 -0.125;", nullptr},
        {"A\n\x01\xe4\n\nB", "-0.375 1;-0.75 0;0 0;-0.375 -2;", &odd},
    };
    for (const auto& c : cases) {
        FontProps font;
        GeomTextParams params = c.params ? *c.params : GeomTextParams();
        Geometry mesh;
        mesh.CreateText(c.text, &font, c.params ? &params : nullptr);
        std::string told;
        char place[64];
        for (int quad = 0; quad < mesh.quadCount; ++quad) {
            snprintf(place, sizeof(place), "%g %g;", mesh.quadData[32 * quad], mesh.quadData[32 * quad + 1]);
            told += place;
        }
        EXPECT_EQ(told, c.expected) << c.text;
    }
}

TEST(GeometryText, ShowsTheCharactersCell) {
    FontProps font;
    Geometry mesh;
    mesh.CreateText("o", &font, nullptr); // code 111: column 15, row 6; width 0.42, offset -0.02
    const float l = 15.27f / 16, r = 15.69f / 16, b = 0.5625f, t = 0.625f;
    const float expected[32] = {0,    -.5f, 0, 0, 0, 1, l, b, .42f, -.5f, 0, 0, 0, 1, r, b,
                                .42f, .5f,  0, 0, 0, 1, r, t, 0,    .5f,  0, 0, 0, 1, l, t};
    for (int i = 0; i < 32; ++i)
        EXPECT_NEAR(mesh.quadData[i], expected[i], 1e-6) << i;
}

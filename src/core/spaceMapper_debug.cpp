// What the mapper shows for debugging: its grid and walls as lines, and floats as text.
#include "spaceMapper.h"

#include "geometry.h"

#include <cstdio>

namespace {

void drawFlatLine(float x1, float y1, float x2, float y2) {
    DrawLine(x1, y1, 0.0f, x2, y2, 0.0f);
}

} // namespace

void SpaceMapperLines2D::DebugDrawSegments() {
    for (int i = 0; cells && i < cols * rows; ++i) {
        const float *low = cells[i].min, *high = cells[i].max;
        drawFlatLine(low[0], low[1], high[0], low[1]);
        drawFlatLine(low[0], high[1], high[0], high[1]);
        drawFlatLine(low[0], low[1], low[0], high[1]);
        drawFlatLine(high[0], low[1], high[0], high[1]);
    }
    DebugDrawLines();
}

void SpaceMapperLines2D::DebugDrawLines() {
    for (int i = 0; cells && i < cols * rows; ++i) {
        const SpMapLine2D* walls = cells[i].Lines();
        for (int k = 0; k < cells[i].lineCount; ++k)
            drawFlatLine(walls[k].p1[0], walls[k].p1[1], walls[k].p2[0], walls[k].p2[1]);
    }
}

void fa_print(int n, const float* v) {
    if (n < 1 || n > 4)
        return;
    for (int i = 0; i < n; ++i)
        printf("%f ", v[i]);
    printf("\n");
}

// The launcher's frame: headings, option and script buttons, cursor.
#include "loadingscreeny.h"

#include "opengl.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

constexpr float kOptionReach = 0.05f; // half side of the square in which the cursor hovers over a button
constexpr float kScriptReach = 0.08f;
constexpr float kHoverSpin = -3.0f; // spins of 180 degrees a second, clockwise
constexpr float kFeaturedSpin = 0.5f;
constexpr float kLabelDrop = -1.5f; // labels stand below their button, in button units
constexpr float kScriptSize = 0.05f;
constexpr float kScriptLabelScale = 0.8f; // in button units
constexpr float kLineStep = 0.375f;       // a label's top rises by this per line break, in label units

constexpr float kGridLeft = -0.5f;
constexpr float kGridTop = 0.4f;
constexpr float kGridRight = 0.5f; // a button further right than this wraps to the next row
constexpr float kGridStepX = 0.33f;
constexpr float kGridStepY = 0.16f;

const char* const kDisplayLabels[] = {"normal size", "max size", "max size + full"};
const char* const kShaderLabels[] = {"disable shaders", "enable shaders"};

// Saves the matrix for one element of the menu and leaves the drawing colour white behind it.
class Element {
public:
    Element(float x, float y) {
        glPushMatrix();
        glTranslatef(x, y, 0);
    }
    ~Element() {
        glPopMatrix();
        glColor4f(1, 1, 1, 1);
    }
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;
};

// The highest point of a script's button, its label included, above the button's centre.
float heightAbove(const char* label) {
    const auto breaks = static_cast<float>(std::count(label, label + strlen(label), '\n'));
    const float labelTop = kLabelDrop + kScriptLabelScale * (0.5f + kLineStep * breaks);
    const float hoverTop = std::sqrt(1.5f * 1.5f + 0.5f * 0.5f); // of the bar's corner as it spins
    return kScriptSize * std::max(labelTop, hoverTop);
}

} // namespace

int LoadingScreeny::TimeStep() {
    const int result = CoreThingy::TimeStep();
    if (frameCount <= 2 || exitStatus != LAUNCHER_RUNNING)
        return 0;
    hoveredDisplay = hoveredShader = hoveredScript = -1;
    SetupFrame();
    glEnable(GL_BLEND);
    InitCamera(2, 1);
    privDrawHeadings();
    privDrawOptions();
    privDrawScripts();
    privDrawCursor();
    glFlush();
    window.display();
    return result;
}

void LoadingScreeny::privDrawHeadings() {
    {
        Element heading(-0.8f, 0.62f);
        glScalef(0.05f, 0.05f, 0.05f);
        privDrawText("first,\nset options->");
    }
    {
        Element heading(-0.8f, -0.08f);
        glScalef(0.05f, 0.05f, 0.05f);
        privDrawText("then,\nchoose script->");
    }
    Element separator(0, 0.478f);
    glColor4f(1, 0, 0, 0.5f);
    glScalef(1.05f, 0.005f, 0.05f);
    DrawQuad();
}

void LoadingScreeny::privDrawOptions() {
    for (int i = 0; i < 3; ++i)
        privDrawOption(-0.5f + 0.5f * static_cast<float>(i), 0.7f, kDisplayLabels[i], displayChoice == i, i,
                       hoveredDisplay);
    for (int i = 0; i < 2; ++i)
        privDrawOption(-0.5f + 0.5f * static_cast<float>(i), 0.6f, kShaderLabels[i], shaderChoice == i, i,
                       hoveredShader);
}

void LoadingScreeny::privDrawScripts() {
    float x = kGridLeft;
    float y = kGridTop;
    for (int i = 0; i < scriptNames.Count(); ++i) {
        privDrawScript(x, y, i);
        x += kGridStepX;
        if (x > kGridRight) {
            x = kGridLeft;
            y -= kGridStepY;
        }
    }
}

void LoadingScreeny::privDrawCursor() {
    glTranslatef(mouseTotalX, mouseTotalY, 0);
    glScalef(0.01f, 0.01f, 0.5f);
    glColor4f(0, 1, 0, 0.8f);
    DrawQuad();
    glColor4f(1, 1, 1, 1);
}

void LoadingScreeny::privDrawOption(float x, float y, const char* label, bool selected, int index,
                                    int& hovered) {
    Element element(x, y);
    const bool underCursor = privCursorWithin(x, y, kOptionReach);
    if (underCursor)
        hovered = index;
    if (selected)
        glColor4f(0.5f, 0.5f, 1, 1);
    glScalef(0.04f, 0.04f, 0.04f);
    if (underCursor)
        privDrawHover();
    glPushMatrix();
    glScalef(0.5f, 0.5f, 0.5f);
    DrawQuad();
    glPopMatrix();
    glTranslatef(0, kLabelDrop, 0);
    privDrawText(label);
}

// The cursor may leave the window and hover over what lies below it; drawing that would only take time.
void LoadingScreeny::privDrawScript(float x, float y, int index) {
    if (privCursorWithin(x, y, kScriptReach))
        hoveredScript = index;
    const char* label = static_cast<DataBlock*>(scriptNames.Get(index))->CStr();
    if (y + heightAbove(label) < -orthoScaleY)
        return;
    Element element(x, y);
    glScalef(kScriptSize, kScriptSize, 0.5f);
    glPushMatrix();
    if (reinterpret_cast<std::intptr_t>(scriptKinds.Get(index)) == SCRIPT_FEATURED) {
        glColor4f(0, 1, 1, 1);
        privSpin(kFeaturedSpin);
    } else {
        glScalef(0.5f, 0.5f, 0.5f);
    }
    if (hoveredScript == index)
        privDrawHover();
    if (selectedScript == index)
        glColor4f(1, 0, 0, 1);
    DrawQuad();
    glPopMatrix();
    glColor4f(1, 1, 1, 1);
    glTranslatef(0, kLabelDrop, 0);
    glScalef(kScriptLabelScale, kScriptLabelScale, kScriptLabelScale);
    privDrawText(label);
}

void LoadingScreeny::privDrawHover() {
    glPushMatrix();
    glColor4f(0, 1, 0, 0.5f);
    privSpin(kHoverSpin);
    glScalef(1.5f, 0.5f, 0.5f);
    DrawQuad();
    glPopMatrix();
}

void LoadingScreeny::privDrawText(const char* text) {
    GeomTextParams params;
    params.align = 0;
    params.spacing = 0;
    params.lineSpacing = 0;
    textureManager.Use("font");
    textManager.CreateDrawText(text, &params);
    textureManager.Use(-1);
}

void LoadingScreeny::privSpin(float rate) {
    glRotatef(gameTime * TURNS_TO_DEGREES * rate, 0, 0, 1);
}

bool LoadingScreeny::privCursorWithin(float x, float y, float reach) const {
    return std::fabs(mouseTotalX - x) < reach && std::fabs(mouseTotalY - y) < reach;
}

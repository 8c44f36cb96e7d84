// The engine object's camera, lights, quad and space mapper.
#include "corethingy.h"

#include "opengl.h"

namespace {

constexpr double kOrthoDepth = 100.0; // the 2D camera sees z from -100 to 100
constexpr int kLastPlacedLight = 1;   // SetLight places lights 0 and 1 only

} // namespace

void CoreThingy::InitCamera(int mode, int fit) {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    orthoScaleX = orthoScaleY = 1.0f;
    if (mode == 0)
        gluPerspective(fov, aspect, nearPlane, farPlane);
    else if (mode == 1)
        gluPerspective(60.0, 1.0, nearPlane, farPlane);
    else if (mode == 2 && fit >= 0 && fit <= 2)
        privSetOrthoCamera(fit);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}

// fit 0 stretches the square to the window, 1 fits the longer window side, 2 the height.
void CoreThingy::privSetOrthoCamera(int fit) {
    const float ratio = static_cast<float>(width) / static_cast<float>(height);
    if (fit == 2 || (fit == 1 && ratio <= 1.0f))
        orthoScaleX = ratio;
    else if (fit == 1)
        orthoScaleY = 1.0f / ratio;
    const double x = orthoScaleX * cam2DScale;
    const double y = orthoScaleY * cam2DScale;
    glOrtho(-x, x, -y, y, -kOrthoDepth, kOrthoDepth);
}

void CoreThingy::Set2DCamScale(float scale) {
    cam2DScale = scale;
}

void CoreThingy::SetupFrame(bool clearDepth) {
    InitCamera(0, 0);
    glEnable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    glDepthMask(GL_TRUE);
    glEnable(GL_DEPTH_TEST);
    glClear(clearDepth ? GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT : GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_MODELVIEW);
}

void CoreThingy::DrawQuad() {
    quad.Draw();
}

void CoreThingy::SetLighting(bool on) {
    if (on)
        glEnable(GL_LIGHTING);
    else
        glDisable(GL_LIGHTING);
}

void CoreThingy::InitLight(int n) {
    const float black[] = {0, 0, 0, 1};
    const float white[] = {1, 1, 1, 1};
    const unsigned light = GL_LIGHT0 + static_cast<unsigned>(n);
    glLightfv(light, GL_AMBIENT, black);
    glLightfv(light, GL_DIFFUSE, white);
    glLightfv(light, GL_SPECULAR, black);
    SetLightAtten(n, 1, 0, 0);
}

void CoreThingy::SetLight(int n, float x, float y, float z) {
    // Below 0 the sum would name some other capability.
    if (n < 0 || n > kLastPlacedLight)
        return;
    const float position[] = {x, y, z, 1};
    const unsigned light = GL_LIGHT0 + static_cast<unsigned>(n);
    glEnable(light);
    glLightfv(light, GL_POSITION, position);
}

void CoreThingy::SetLightColor(int n, float r, float g, float b) {
    const float colour[] = {r, g, b, 1};
    glLightfv(GL_LIGHT0 + static_cast<unsigned>(n), GL_DIFFUSE, colour);
}

void CoreThingy::SetLightAtten(int n, float constant, float linear, float quadratic) {
    const unsigned light = GL_LIGHT0 + static_cast<unsigned>(n);
    glLightf(light, GL_CONSTANT_ATTENUATION, constant);
    glLightf(light, GL_LINEAR_ATTENUATION, linear);
    glLightf(light, GL_QUADRATIC_ATTENUATION, quadratic);
}

void CoreThingy::SetAmbientColorRGB(float r, float g, float b) {
    const float colour[] = {r, g, b, 1};
    glLightModelfv(GL_LIGHT_MODEL_AMBIENT, colour);
}

void CoreThingy::SetSpaceMapper(int kind) {
    if (kind != 1)
        return;
    privDropSpaceMapper();
    const float low[] = {-10, -10};
    const float high[] = {10, 10};
    auto* mapper = new SpaceMapperLines2D;
    spaceMapper = mapper;
    mapper->SetSpaceBounds(low, high, 4, 4);
}

void CoreThingy::privDropSpaceMapper() {
    destroySpaceMapper(spaceMapper);
    spaceMapper = nullptr;
}

// The engine object: construction, window, fixed OpenGL state and the common frame.
#include "corethingy.h"

#include "numericfuncs.h"
#include "opengl.h"
#include "shadering.h"
#include "strfuncs.h"

#include <SFML/Window/VideoMode.hpp>
#include <algorithm>
#include <cstdio>

namespace {

constexpr int kDefaultWidth = 1024;
constexpr int kDefaultHeight = 768;
constexpr int kMinimumWidth = 700; // what "-r min" opens
constexpr int kMinimumHeight = 580;
constexpr int kLargestSide = 16384; // X11 and OpenGL reject larger windows
constexpr int kFirstTimedFrame = 4;

// The windowing library's default context settings name no depth bits, and some drivers then give none.
constexpr unsigned kDepthBits = 24;

// The library derives both coordinates from the screen's width, which puts tall windows off the screen.
void centreOnScreen(sf::Window& window, int width, int height) {
    const sf::VideoMode desktop = sf::VideoMode::getDesktopMode();
    window.setPosition(sf::Vector2i(std::max(0, (static_cast<int>(desktop.width) - width) / 2),
                                    std::max(0, (static_cast<int>(desktop.height) - height) / 2)));
}

// The best full-screen mode. A display that lists none gives its desktop's, one that knows not even that
// keeps what is wanted.
sf::VideoMode bestMode(const sf::VideoMode& wanted) {
    const std::vector<sf::VideoMode>& modes = sf::VideoMode::getFullscreenModes();
    if (!modes.empty())
        return modes.front();
    const sf::VideoMode desktop = sf::VideoMode::getDesktopMode();
    return desktop.width > 0 && desktop.height > 0 ? desktop : wanted;
}

} // namespace

// ---- Construction ----

// The first window object loads the OpenGL driver. That counts: frames are paced from the start of all this.
CoreThingy::CoreThingy() : CoreThingy(sf::Clock()) {}

CoreThingy::CoreThingy(const sf::Clock& started)
    : mouseX(0), mouseY(0), mouseTotalX(0), mouseTotalY(0), mouseRelX(0), mouseRelY(0), gameTime(0),
      prevGameTime(-0.01f), timeScale(1), clockTime(0), prevClockTime(-0.01f), gameDelta(0), frameDelta(0),
      frameCount(0), mouseScalar(1), mouseNorm(1.0f / kDefaultWidth), fov(90), orthoScaleX(1), orthoScaleY(1),
      cam2DScale(1), loadTime(0), mouseVisible(false), mouseLocked(true), typingMode(0), repeatKey(-1),
      nextRepeatTime(0), repeatDelay(0.4f), repeatInterval(0.045f), fullscreen(false), maxRes(false),
      width(kDefaultWidth), height(kDefaultHeight), bitsPerPixel(32),
      aspect(static_cast<float>(kDefaultWidth) / kDefaultHeight), nearPlane(0.1f), farPlane(1000),
      fpsFrames(0), limitFps(true), targetFps(60), fixedStep(limitFps),
      fixedDelta(1.0f / static_cast<float>(targetFps)), nextFrameTime(0), argv(nullptr), argc(0),
      clock(started), event(), spaceMapper(nullptr), keyResult(0), mouseRecentred(false),
      pacer(std::chrono::microseconds(clock.getElapsedTime().asMicroseconds())) {
    mediaPath.Assign("media/");
    DataBlock quadPath(mediaPath.CStr());
    quadPath.Append("geom/quad.obj");
    LoadObjFileSingle(&quad, quadPath.CStr());
    textureManager.SetPathPrefix(mediaPath.CStr());
    shaderManager.SetPathPrefix(mediaPath.CStr());
    geometryManager.SetPathPrefix(mediaPath.CStr());
    audioManager.SetPathPrefix(mediaPath.CStr());
    musicManager.SetPathPrefix(mediaPath.CStr());
}

CoreThingy::~CoreThingy() {
    privDropSpaceMapper();
}

// ---- Window and fixed state ----

void CoreThingy::SetupStandardWindow() {
    InitSystem();
}

void CoreThingy::InitSystem() {
    pacer.SetClock(seams.clock);
    width = clampi(width, 1, kLargestSide);
    height = clampi(height, 1, kLargestSide);
    sf::VideoMode mode(static_cast<unsigned>(width), static_cast<unsigned>(height),
                       static_cast<unsigned>(bitsPerPixel));
    if (maxRes) {
        mode = bestMode(mode);
        width = static_cast<int>(mode.width);
        height = static_cast<int>(mode.height);
        bitsPerPixel = static_cast<int>(mode.bitsPerPixel);
        printf("Using max res: %i x %i: %i\n", width, height, bitsPerPixel);
    }
    sf::Uint32 style = sf::Style::Resize | sf::Style::Close;
    // Without any full-screen mode the library would take the first of none.
    if (fullscreen && !sf::VideoMode::getFullscreenModes().empty())
        style |= sf::Style::Fullscreen;
    window.create(mode, "tarnEngine", style, sf::ContextSettings(kDepthBits, 0, 0, 2, 0));
    if (fullscreen)
        privTakeWindowSize();
    else
        centreOnScreen(window, width, height);
    InitGL();
    InitCamera(0, 0);
    SetupShadingExtensions();
    ResizeWindow();
    SetMouseState(0, 1);
    privMovePointer(privWindowCentre()); // or the first motion would jump by what it is off
    // Image rows are stored top first while texture coordinates count upwards: flip v once for everything.
    glMatrixMode(GL_TEXTURE);
    glScalef(1, -1, 1);
    glMatrixMode(GL_MODELVIEW);
}

// The library replaces a full-screen mode that the screen does not have.
void CoreThingy::privTakeWindowSize() {
    width = static_cast<int>(window.getSize().x);
    height = static_cast<int>(window.getSize().y);
}

void CoreThingy::InitGL() {
    glEnable(GL_TEXTURE_2D);
    glShadeModel(GL_SMOOTH);
    glClearColor(0, 0, 0, 1);
    glClearDepth(1.0);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
    glShadeModel(GL_SMOOTH);
    glHint(GL_POLYGON_SMOOTH_HINT, GL_NICEST);
    glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
    glEnable(GL_BLEND);
    glEnable(GL_POLYGON_SMOOTH);
    glEnable(GL_LINE_SMOOTH);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glEnable(GL_COLOR_MATERIAL);
    for (int n = 0; n < 4; ++n)
        InitLight(n);
}

void CoreThingy::ResizeWindow() {
    if (height == 0)
        height = 1;
    aspect = static_cast<float>(width) / static_cast<float>(height);
    glViewport(0, 0, width, height);
    InitCamera(0, 0);
}

void CoreThingy::SetupShadingExtensions() {
    setupExtensions();
}

void CoreThingy::SetVSync(bool on) {
    if (fullscreen)
        window.setVerticalSyncEnabled(on);
}

void CoreThingy::Close() {
    window.close();
}

// ---- The common frame ----

int CoreThingy::TimeStep() {
    privReportGLError();
    mouseRelX = mouseRelY = 0;
    keyResult = 0;
    mouseRecentred = false;
    privPollEvents();
    prevClockTime = clockTime;
    clockTime = pacer.Seconds();
    loadTime += clockTime - prevClockTime;
    privWaitForFrame();
    privAdvanceTime();
    privTickManagers();
    privRepeatKey();
    privReportFrameRate();
    return keyResult;
}

void CoreThingy::privReportGLError() {
    const unsigned code = glGetError();
    if (code == GL_NO_ERROR)
        return;
    printf("OpenGL Error! ");
    if (const char* name = glErrorName(code))
        printf("ERR: %s\n", name);
    if (seams.errors)
        seams.errors->OpenGLError(code);
}

void CoreThingy::privPollEvents() {
    while (privNextEvent()) {
        switch (event.type) {
        case sf::Event::Resized:
            // Only the size is taken over: the viewport stays, so a script's picture is not rescaled.
            width = static_cast<int>(event.size.width);
            height = static_cast<int>(event.size.height);
            break;
        case sf::Event::KeyPressed:
            if (typingMode == 0 || event.key.code == sf::Keyboard::Escape)
                keyResult = privHandleKey(event.key.code, true);
            break;
        case sf::Event::KeyReleased:
            privHandleKey(event.key.code, false);
            break;
        case sf::Event::MouseWheelMoved:
            privHandleMouseScroll(event.mouseWheel.delta);
            break;
        case sf::Event::MouseButtonPressed:
        case sf::Event::MouseButtonReleased:
            privHandleMousePress(event.mouseButton.button, event.type == sf::Event::MouseButtonPressed);
            break;
        case sf::Event::MouseMoved:
            privHandleMouseMotion();
            break;
        default:
            break;
        }
    }
}

// The deadline is never moved to the present, so after a stall the next frames run without waiting until they
// have caught up.
void CoreThingy::privWaitForFrame() {
    if (!limitFps || targetFps < 1)
        return;
    pacer.WaitUntil(pacer.NextDeadline(&nextFrameTime, targetFps));
}

void CoreThingy::privAdvanceTime() {
    ++frameCount;
    clockTime = pacer.Seconds();
    frameDelta = clockTime - prevClockTime;
    if (frameCount < kFirstTimedFrame)
        return;
    prevGameTime = gameTime;
    gameTime += timeScale * frameDelta;
    gameDelta = fixedStep ? fixedDelta : gameTime - prevGameTime;
}

void CoreThingy::privTickManagers() {
    if (spaceMapper)
        spaceMapper->SetTime(gameTime, gameDelta);
    audioManager.SetTime(gameTime, gameDelta);
    textManager.TimeStep(gameTime, gameDelta);
}

void CoreThingy::privReportFrameRate() {
    ++fpsFrames;
    if (static_cast<int>(prevClockTime) >= static_cast<int>(clockTime))
        return;
    const float load = loadTime / std::max(1.0f, static_cast<float>(fpsFrames));
    loadTime = 0;
    printf("FPS: %i\t Load: %i ms\n", fpsFrames, static_cast<int>(load * 1000.0f));
    fpsFrames = 0;
}

// ---- Command line ----

void CoreThingy::DeclareArgs(int argumentCount, char** arguments) {
    argc = argumentCount;
    argv = arguments;
}

void CoreThingy::ParseArgs() {
    for (int i = 0; i < argc; ++i) {
        if (strequal(argv[i], "r", true) || strequal(argv[i], "-r", true))
            i += privParseSize(i);
        if (strequal(argv[i], "f", true) || strequal(argv[i], "-f", true))
            fullscreen = true;
    }
}

int CoreThingy::privParseSize(int i) {
    const int following = argc - i - 1;
    if (following >= 2 && numeric(argv[i + 1]) && numeric(argv[i + 2])) {
        width = toint(argv[i + 1]);
        height = toint(argv[i + 2]);
        fullscreen = false;
        return 2;
    }
    if (following >= 1 && strequal(argv[i + 1], "max", true)) {
        maxRes = true;
        return 1;
    }
    if (following >= 1 && strequal(argv[i + 1], "min", true)) {
        width = kMinimumWidth;
        height = kMinimumHeight;
        fullscreen = false;
        return 1;
    }
    return 0;
}

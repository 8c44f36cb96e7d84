// CoreThingy: the engine object. It owns the window with its OpenGL context, the clock, the input state, the
// camera and light settings, the quad mesh, the content managers and the 2D space mapper, and runs the part
// of a frame that the launcher and the script host have in common.
#pragma once

#include "datablock.h"
#include "framepacer.h"
#include "geometry.h"
#include "manager.h"
#include "seams.h"
#include "spaceMapper.h"
#include "tnmath.h"

#include <SFML/System/Clock.hpp>
#include <SFML/Window/Event.hpp>
#include <SFML/Window/Window.hpp>

// Input model. Keyboard, mouse buttons and wheel share one space of raw key codes:
//
//     0 .. 100    keyboard keys, numbered as sf::Keyboard::Key (A = 0, Escape = 36)
//     101 .. 105  mouse buttons left, right, middle, extra 1, extra 2
//     106, 107    wheel forward, wheel backward (presses only, never held)
//
// A binding maps a raw code to the game key number that a script chose; unbound codes reach nobody. A script
// that bound A (0) to 7 receives (7, 1) on the press, (7, 2) while it is held, (7, 0) on the release.

constexpr int KEY_CODE_COUNT = 108;   ///< raw key codes 0 .. 107
constexpr int KEY_ESCAPE = 36;        ///< passes typing mode and ends the frame loop
constexpr int KEY_FIRST_MOUSE = 101;  ///< code of the left mouse button
constexpr int MOUSE_BUTTON_COUNT = 5; ///< buttons with a code of their own
constexpr int KEY_WHEEL_UP = 106;     ///< every wheel event whose delta is not -1
constexpr int KEY_WHEEL_DOWN = 107;   ///< a wheel event whose delta is -1
constexpr int KEY_UNBOUND = -1;       ///< in bindings: the raw code reaches no script

/// What happened to a game key, the second argument of GameKeyHappen.
enum GameKeyState { GAMEKEY_RELEASED = 0, GAMEKEY_PRESSED = 1, GAMEKEY_REPEATED = 2 };

/// Bindings and held flags of every raw key code.
struct KeyState {
    int bindings[KEY_CODE_COUNT]; ///< game key number per raw code, KEY_UNBOUND for none; unset until
                                  ///< SetDefaults
    bool keyDown[KEY_CODE_COUNT]; ///< held now; only bound codes are tracked, wheel codes never

    /// Clears the held flags and leaves the bindings to SetDefaults.
    KeyState();
    /// Unbinds every raw code.
    void SetDefaults();
};

/// The input devices of one engine object.
struct InputStore {
    KeyState keys;
};

/// Base of the launcher and of the script host; see the top of this file.
class CoreThingy {
public:
    /// Constructs the managers below "media/" and loads the quad mesh; no window is open yet.
    CoreThingy();
    CoreThingy(const CoreThingy&) = delete;
    CoreThingy& operator=(const CoreThingy&) = delete;
    /// Destroys the space mapper and then the members; the window closes with the object.
    virtual ~CoreThingy();

    // Events. The frame loop calls these; subclasses override what they react to.

    /// A raw key code went down or up: filters repeats, starts key repeat, passes the bound game key on.
    /// Codes outside 0 .. 107 are ignored.
    virtual void KeyHappen(int key, bool down);
    /// A bound game key changed; state is a GameKeyState. Empty here.
    virtual void GameKeyHappen(int code, int state);
    /// A keyboard key was pressed, before KeyHappen. Empty here.
    virtual void KeyTyped(int key);

    // Window and frame.

    /// Opens the window.
    void SetupStandardWindow();
    /// Creates the window with its context and sets the initial OpenGL state.
    void InitSystem();
    /// Sets the OpenGL state that holds for the whole run.
    void InitGL();
    /// Recomputes the aspect, the viewport and the perspective camera from width and height.
    void ResizeWindow();
    /// Fetches the shader and framebuffer entry points of the current context.
    void SetupShadingExtensions();
    /// Switches vertical synchronisation; only full-screen windows react.
    void SetVSync(bool on);
    /// The common part of one frame: GL error report, events, frame limiter, time, managers, key repeat and
    /// frame-rate line.
    /// @return -1 when Escape was the last key pressed in this frame, otherwise 0.
    int TimeStep();
    /// Closes the window.
    void Close();
    int GetScreenWidth() const { return width; }   ///< pixels
    int GetScreenHeight() const { return height; } ///< pixels
    /// Stores the command line; argv stays the caller's.
    void DeclareArgs(int argumentCount, char** arguments);
    /// Reads "-r W H", "-r max", "-r min" and "-f" (also without the dash) from the stored command line.
    void ParseArgs();

    // Input.

    /// Binds raw key (0 .. 107, others are ignored) to game key code; unless keepOthers is set, every other
    /// raw key bound to code is unbound first.
    void SetKeyBind(int code, int key, bool keepOthers);
    /// Any non-zero mode drops key presses but Escape and passes raw codes instead of bindings.
    void SetTypingMode(int mode);
    /// Shows or hides the pointer and locks it to the window centre or frees it; a negative value leaves
    /// that setting alone.
    void SetMouseState(int visible, int locked);

    // Camera, lights, quad, space mapper.

    /// Sets the projection and resets the model-view matrix. mode 0: perspective with fov; 1: fixed
    /// 60 degrees; 2: orthographic, fit 0 square, 1 longer side, 2 height; anything else: identity.
    void InitCamera(int mode, int fit);
    /// Half extent of the 2D camera; takes effect at the next InitCamera(2, ...).
    void Set2DCamScale(float scale);
    /// The state from which every drawn frame starts: perspective camera, texturing, depth test and depth
    /// writes on, blending off, buffers cleared, model-view matrix current.
    /// @param clearDepth false when the caller clears the depth buffer before anything can see it
    void SetupFrame(bool clearDepth = true);
    /// Draws the quad mesh with the current state.
    void DrawQuad();
    void SetLighting(bool on);
    /// Gives light n its initial colours and attenuation; neither enables nor places it.
    void InitLight(int n);
    /// Enables light n (0 or 1; higher numbers are ignored) as a point light at x, y, z in the current
    /// model-view space.
    void SetLight(int n, float x, float y, float z);
    /// Diffuse colour of light n.
    void SetLightColor(int n, float r, float g, float b);
    /// Attenuation factors of light n.
    void SetLightAtten(int n, float constant, float linear, float quadratic);
    /// Ambient light of the whole scene.
    void SetAmbientColorRGB(float r, float g, float b);
    /// kind 1: replaces spaceMapper by an empty 2D line mapper over (-10, -10) .. (10, 10) with 4 x 4 cells.
    /// Other kinds do nothing.
    void SetSpaceMapper(int kind);

    InputStore input;
    float mouseX, mouseY;           ///< pointer position as a fraction of the window, y downwards
    float mouseTotalX, mouseTotalY; ///< sums of all relative motion, y upwards
    float mouseRelX, mouseRelY;     ///< relative motion of this frame, pixels / 1024, y upwards
    float gameTime;                 ///< seconds since frame 4
    float prevGameTime;             ///< gameTime before its last advance
    float timeScale;                ///< game seconds per clock second
    float clockTime;                ///< seconds of the last clock reading
    float prevClockTime;            ///< clockTime at the end of the frame before
    float gameDelta;                ///< game seconds handed out for this frame
    float frameDelta;               ///< clock seconds between the ends of the last two frames
    int frameCount;                 ///< frames run; drawing starts at 3, game time at 4
    DataBlock mediaPath;            ///< prefix of all content files
    float mouseScalar;              ///< multiplies relative motion
    float mouseNorm;                ///< 1 / default window width, multiplies relative motion
    float fov;                      ///< vertical field of view in degrees
    float orthoScaleX, orthoScaleY; ///< stretch of the last camera, for the pointer in camera units
    TextureManager textureManager;
    ShaderManager shaderManager;
    GeometryManager geometryManager;
    AudioManager audioManager;
    MusicManager musicManager;
    TextManager textManager;
    SaveManager saveManager;
    float cam2DScale;          ///< half extent of the 2D camera
    float loadTime;            ///< working seconds since the last frame-rate line
    bool mouseVisible;         ///< pointer shown
    bool mouseLocked;          ///< pointer held at the window centre
    Geometry quad;             ///< square from -1 to 1, loaded at construction
    int typingMode;            ///< non-zero: typing
    int repeatKey;             ///< raw code that repeats now, -1 for none
    float nextRepeatTime;      ///< clock seconds of the next repeat
    float repeatDelay;         ///< seconds from the press to the first repeat
    float repeatInterval;      ///< seconds between repeats
    bool fullscreen;           ///< read when the window opens
    bool maxRes;               ///< open at the best full-screen size; read when the window opens
    int width, height;         ///< window size in pixels
    int bitsPerPixel;          ///< of the video mode
    float aspect;              ///< width / height at the last ResizeWindow
    float nearPlane, farPlane; ///< clip distances of the perspective cameras
    int fpsFrames;             ///< frames since the last frame-rate line
    bool limitFps;             ///< hold targetFps by waiting
    int targetFps;             ///< frames per second
    bool fixedStep;            ///< hand out fixedDelta instead of the measured step
    float fixedDelta;          ///< seconds
    float nextFrameTime;       ///< deadline of the frame limiter in clock seconds
    char** argv;               ///< command line given to DeclareArgs; not owned
    int argc;                  ///< entries of argv
    sf::Window window;
    sf::Clock clock;          ///< started when construction began; all clock times count from there
    sf::Event event;          ///< the event being handled
    SpaceMapper* spaceMapper; ///< owned; null until SetSpaceMapper(1)
    Seams seams;              ///< read when the window opens and in each frame

private:
    explicit CoreThingy(const sf::Clock& started);
    void privTakeWindowSize();
    void privReportGLError();
    void privPollEvents();
    int privHandleKey(int key, bool down);
    void privHandleMousePress(int button, bool down);
    void privHandleMouseScroll(int delta);
    void privHandleMouseMotion();
    void privHandleMouseMove(int x, int y, int dx, int dy);
    void privWaitForFrame();
    void privAdvanceTime();
    void privTickManagers();
    void privRepeatKey();
    void privReportFrameRate();
    void privSetOrthoCamera(int fit);
    /// Reads the words after a size option at i; returns how many it took.
    int privParseSize(int i);
    int privGameCode(int key) const;
    sf::Vector2i privWindowCentre() const;
    bool privNextEvent();
    sf::Vector2i privPointer() const;
    void privMovePointer(const sf::Vector2i& position);

protected:
    void privDropSpaceMapper();

    int keyResult; ///< result of this frame's last key press; -1: it was Escape

private:
    bool mouseRecentred; ///< a motion of this frame has moved the pointer to the centre
    FramePacer pacer;    ///< reads clock to the nanosecond; nextFrameTime mirrors its deadline
};

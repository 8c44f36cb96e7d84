// The launcher as a user meets it: keys, pointer, settings file, start-up faults.
#include "driver.h"

namespace {

const char kHello[] = "function Init() print('hello from '..GetScriptsPath()) end\nfunction Draw() end\n";

class Launcher : public EndToEnd {
protected:
    std::string prefs() const { return readText(directory + "/prefs.txt"); }
    /// On a machine that stops for a moment, the engine may lose a motion between reading the pointer and
    /// centring it, and what is clicked then is something else.
    template <typename Steps>
    static bool inThreeTries(Steps steps) {
        return steps() || steps() || steps();
    }
    /// The launcher takes the pointer's motion from its fourth frame on. The first rate line comes later,
    /// unless the start has taken longer than a second.
    static testing::AssertionResult ready(Program& engine) {
        const testing::AssertionResult first = engine.WaitFor("FPS:");
        return engine.LastRate() < 4 ? engine.WaitFor("FPS:", 2) : first;
    }
    /// Moves the launcher's cursor by this much of its 2D camera, in steps that stay inside the window.
    void aim(float x, float y) {
        const std::array<int, 2> centre = pointerPosition();
        for (int step = 0; step < 4; ++step) {
            movePointerBy(static_cast<int>(x * 256.0f), static_cast<int>(-y * 256.0f));
            EXPECT_TRUE(eventually([&] { return pointerPosition() == centre; })) << "the motion was not seen";
            pause(100); // the next frame hears of the centring, and motion at that very moment is lost
        }
    }
};

struct Fault {
    const char *name, *script, *setting, *preparation, *expected;
    bool runs = true;
};

class StartUpFault : public Launcher, public testing::WithParamInterface<Fault> {};

} // namespace

TEST_F(Launcher, AKeyStartsTheRememberedScriptAndEscapeEndsIt) {
    script("only.lua", kHello);
    Program engine("tarnEngine", {}, directory);
    ASSERT_TRUE(ready(engine));
    key("space");
    EXPECT_TRUE(engine.WaitFor("Scripttype: Lua\nhello from scripts/\n"));
    EXPECT_EQ(std::string("\0\0\1", 3), prefs());
    ASSERT_TRUE(engine.WaitFor("FPS:", 2));
    key("Escape");
    EXPECT_EQ(0, engine.WaitForExit());
}

TEST_F(Launcher, ClicksSetOptionsAndStartTheScriptUnderTheCursor) {
    script("only.lua", kHello);
    EXPECT_TRUE(inThreeTries([&] {
        writeText(directory + "/prefs.txt", "\5"); // an old choice beyond the list: nothing is selected
        Program engine("tarnEngine", {}, directory);
        EXPECT_TRUE(ready(engine));
        key("space"); // no valid selection: nothing may start
        aim(-0.5f, 0.6f);
        click();
        aim(0.0f, -0.2f); // from "disable shaders" down to the script
        EXPECT_EQ("\5", prefs());
        click();
        // Script 0, normal size, shaders off without its zero byte.
        return engine.WaitFor("hello from") && prefs() == std::string("\0\0", 2);
    }));
}

TEST_F(Launcher, EscapeEndsWithoutStartingAndSavesTheSettings) {
    script("only.lua", kHello);
    EXPECT_TRUE(inThreeTries([&] {
        writeText(directory + "/prefs.txt", std::string("\0\2\1", 3));
        Program engine("tarnEngine", {}, directory);
        EXPECT_TRUE(ready(engine));
        aim(0.0f, 0.7f); // "max size"
        click();
        key("Escape");
        EXPECT_EQ(0, engine.WaitForExit());
        EXPECT_EQ(std::string::npos, engine.Output().find("Scripttype"));
        return prefs() == std::string("\0\1\1", 3);
    }));
}

TEST_F(Launcher, MaxSizeTakesTheWholeScreen) {
    script("only.lua", "function Init() print(GetWindowSize()) end function Draw() end");
    writeText(directory + "/prefs.txt", std::string("\0\2\0", 3));
    Program engine("tarnEngine", {}, directory);
    ASSERT_TRUE(ready(engine));
    key("a");
    EXPECT_TRUE(engine.WaitFor("Using max res: 1280 x 1280: "));
    EXPECT_TRUE(engine.WaitFor("1280\t1280\n"));
}

TEST_F(Launcher, DrawsItsButtonsAndSkipsOtherFiles) {
    script("first.moon.txt", "");
    script("second.MOON", "");
    script("readme.txt", "");
    script("ud.lua", ""); // part of a hidden name
    Program engine("tarnEngine", {}, directory);
    ASSERT_TRUE(ready(engine));
    // The window stands in the middle of the screen; the selected script's button is red, an empty grid place
    // black.
    const int left = kScreenWidth / 2 - 256, top = kScreenHeight / 2 - 205;
    EXPECT_TRUE(eventually([&] { return screenPixel(left, top) == std::array<int, 3>{255, 0, 0}; }));
    EXPECT_EQ((std::array<int, 3>{0, 0, 0}), screenPixel(left + 169, top));
}

TEST_F(Launcher, TenThousandScriptsKeepTheFrameRate) {
    for (int i = 0; i < 10000; ++i)
        script(std::to_string(i) + ".lua", kHello);
    Program engine("tarnEngine", {}, directory);
    ASSERT_TRUE(engine.WaitFor("FPS:", 3));
    EXPECT_GE(engine.LastRate(), 20) << "drawing them all takes about a second";
    key("space");
    EXPECT_TRUE(engine.WaitFor("hello from"));
}

TEST_F(Launcher, SettingsSurviveAKillAtAnyMoment) {
    script("only.lua", kHello);
    const std::string fresh("\0\2\1", 3);
    keyDown("space"); // every launcher starts the script at once
    expectWholeAfterKills("tarnEngine", {}, "prefs.txt", fresh + std::string(60000, 'x'), fresh, 8);
    keyUp("space");
}

TEST_P(StartUpFault, SaysSoAndGoesOn) {
    const Fault& fault = GetParam();
    script(fault.script, readText(TARN_SOURCE_DIR "/tests/e2e/soak.lua"));
    ASSERT_EQ(0, runCommand({"sh", "-c", "cd " + directory + " && " + fault.preparation}));
    Program engine("tarnEngine", {}, directory, {fault.setting});
    ASSERT_TRUE(ready(engine));
    key("space");
    EXPECT_TRUE(engine.WaitFor(fault.expected));
    EXPECT_TRUE(!fault.runs || engine.WaitFor("resident "));
    key("Escape");
    EXPECT_EQ(0, engine.WaitForExit());
}

INSTANTIATE_TEST_SUITE_P(
    , StartUpFault,
    testing::Values(
        Fault{"NoScripts", "a.lua", "", "rm -r scripts media", "No such file or directory\n", false},
        Fault{"NoDirectory", "a.lua", "", "rm -r scripts; touch scripts", "Not a directory\n", false},
        Fault{"NoMedia", "a.lua", "", "rm media", "Failed to load image \"media/textures/font.png\""},
        Fault{
            "PipesAsMedia", "a.lua", "",
            "rm media && mkdir -p media/textures media/geom media/shaders media/sounds media/music && mkfifo "
            "prefs.txt soak.save media/textures/font.png media/textures/stone.png media/geom/cube.obj "
            "media/shaders/toon.shad media/sounds/blip.wav media/music/drift.ogg",
            "Failed to load image \"media/textures/font.png\""},
        Fault{"PipeAsScript", "a.lua", "", "rm scripts/a.lua && mkfifo scripts/a.lua",
              "Lua Err INIT: cannot read scripts/a.lua: it is no file.\n", false},
        Fault{"NoExtensions", "a.lua", "MESA_EXTENSION_OVERRIDE=-GL_ARB_vertex_shader", ":",
              "ERRRRRURScripttype: Lua\n"},
        Fault{"NoSoundDevice", "a.lua", "ALSOFT_DRIVERS=none", ":", "Failed to open the audio device\n"},
        Fault{"OddName", "'\"\\a\n%s \xc3\xa4\xff.lua", "", ":", "Scripttype: Lua\n"}),
    [](const auto& fault) { return fault.param.name; });

TEST_F(Launcher, NeedsADisplayWithOpenGL) {
    const DisplayServer plain({"-extension", "GLX"});
    for (const char* library : {"/libGLX_mesa.so.0", "/libGLX_indirect.so.0"})
        writeText(directory + library, "no library");
    const std::string noDriver =
        "ERR: OpenGL does not start on this display; its driver is missing or broken.\n";
    const std::string faults[][2] = {
        {"DISPLAY=:9999", "ERR: no display to open a window on; start a desktop session or set DISPLAY.\n"},
        {"DISPLAY=" + plain.name,
         "ERR: the display offers no OpenGL (its GLX extension is missing or switched off).\n"},
        {"LIBGL_DRIVERS_PATH=/none", noDriver},
        {"LIBGL_ALWAYS_INDIRECT=1", noDriver},
        {"LD_LIBRARY_PATH=" + directory, noDriver}};
    for (const auto& [setting, message] : faults) {
        Program engine("tarnEngine", {}, directory, {setting});
        EXPECT_EQ(1, engine.WaitForExit()) << setting;
        const std::string output =
            engine.Output(); // the driver and the windowing library have their say first
        EXPECT_EQ(message, output.substr(output.find("ERR: "))) << setting;
    }
}

// Scripts in both languages, run by the built programs: callbacks, keys, captures, failures.
#include "driver.h"

#include <SFML/Graphics/Image.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

// Kilobytes. The address sanitizer holds freed memory back.
#ifdef __SANITIZE_ADDRESS__
constexpr int kGrowthAllowed = 64 * 1024;
#else
constexpr int kGrowthAllowed = 1024;
#endif

class Script : public EndToEnd {
protected:
    /// Runs a script without the launcher for some frames and returns the exit status.
    int play(const std::string& name, int frames) {
        Program player("tarnplay", {"-r", "200", "150", "--frames", std::to_string(frames), name}, directory);
        const int status = player.WaitForExit(frames / 60);
        output = player.Output();
        return status;
    }
    std::string output;
};

struct Failure {
    const char* name;
    const char* file;
    const char* text;
    const char* expected; ///< must stand in the output
};

class ScriptFailure : public Script, public testing::WithParamInterface<Failure> {};

} // namespace

TEST_F(Script, LuaReceivesKeysRepeatsAndReleases) {
    script("keys.lua", R"(
function Init() BindKey(7, 0) BindKey(8, 101) print("ready") end
function KeyHappen(key, state, time) print("key "..key.." "..state) end
function Draw() end)");
    Program player("tarnplay", {"-r", "300", "200", "scripts/keys.lua"}, directory);
    ASSERT_TRUE(player.WaitFor("FPS:"));
    keyDown("a");
    ASSERT_TRUE(player.WaitFor("key 7 2\n", 3));
    keyUp("a");
    ASSERT_TRUE(player.WaitFor("key 7 0\n"));
    key("b"); // unbound
    click();
    ASSERT_TRUE(player.WaitFor("key 8 0\n"));
    key("Escape");
    EXPECT_EQ(0, player.WaitForExit());
    EXPECT_NE(std::string::npos, player.Output().find("key 7 1\nkey 7 2\n"));
    EXPECT_NE(std::string::npos, player.Output().find("key 8 1\nkey 8 0\n"));
}

TEST_F(Script, MoonScriptRunsWithModulesOfBothLanguages) {
    script("game.moon", R"(
shapes = require "shapes"
import twice from require "numbers"
export Init = -> print "twice #{twice 21}, #{shapes.name!}"
export Draw = (time, delta) -> print "drawn" if time > 0
)");
    script("shapes.moon", "{ name: -> \"a moon module\" }\n");
    script("numbers.lua", "return { twice = function(n) return 2 * n end }\n");
    EXPECT_EQ(0, play("game.moon", 4));
    EXPECT_NE(std::string::npos, output.find("Scripttype: Moon\ntwice 42, a moon module\n")) << output;
    EXPECT_NE(std::string::npos, output.find("drawn\n"));
}

TEST_F(Script, TheCaptureKeyWritesWhatIsOnTheScreen) {
    script("paint.lua", R"(
function Init() BindKey(35, 2) SetScreenshotDir("shots") end
function KeyHappen(key, state) print("capture "..state) end
function Draw()
  Depth(0) SetCam(2, 0) Tex(-1) BackColor(0, 0, 1, 1)
  Move(-0.5, 0.5) Scale(0.5) Color(1, 0.5, 0) Quad()
end)");
    std::filesystem::create_directory(directory + "/shots");
    writeText(directory + "/shots/capture041.bmp", "");
    Program player("tarnplay", {"-r", "101", "80", "paint.lua"}, directory);
    ASSERT_TRUE(player.WaitFor("FPS:"));
    key("c");
    ASSERT_TRUE(player.WaitFor("Screenshot saved to: shots/capture042.bmp\ncapture 1\n"));
    const std::string bytes = readText(directory + "/shots/capture042.bmp");
    ASSERT_EQ(54u + 304u * 80u, bytes.size()) << "rows of 101 pixels are padded to 304 bytes";
    sf::Image image;
    ASSERT_TRUE(image.loadFromFile(directory + "/shots/capture042.bmp"));
    for (unsigned y = 0; y < 80; ++y) {
        for (unsigned x = 0; x < 101; ++x) {
            if (x == 50 || y == 39 || y == 40)
                continue; // the square's edge may fall on either side
            const sf::Color expected = x < 50 && y < 40 ? sf::Color(255, 128, 0) : sf::Color::Blue;
            ASSERT_NEAR(expected.g, image.getPixel(x, y).g, 1) << x << ' ' << y;
            ASSERT_EQ(expected.r, image.getPixel(x, y).r) << x << ' ' << y;
            ASSERT_EQ(expected.b, image.getPixel(x, y).b) << x << ' ' << y;
        }
    }
}

TEST_F(Script, FramesAreHeldToSixtyASecondAndPlayerSavesTheLast) {
    script("count.lua", "function Init() BackColor(0, 1, 0, 1) end function Draw() end");
    const auto start = std::chrono::steady_clock::now();
    Program player("tarnplay", {"--frames", "130", "--capture", "last.png", "count.lua"}, directory);
    ASSERT_EQ(0, player.WaitForExit()) << player.Output();
    // A busy machine may be slower, none may be faster.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(130 * 1000 / 60));
    EXPECT_GT(player.LastRate(), 0) << player.Output();
    sf::Image image;
    ASSERT_TRUE(image.loadFromFile(directory + "/last.png"));
    EXPECT_EQ(sf::Vector2u(1024, 768), image.getSize());
    EXPECT_EQ(sf::Color::Green, image.getPixel(512, 384));
}

TEST_F(Script, PlayerExplainsItsArguments) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{},
                                                  {"a.lua", "b.lua"},
                                                  {"--frames", "x", "a.lua"},
                                                  {"--bogus", "a.lua"},
                                                  {"-r", "64", "a.lua"}}) {
        Program player("tarnplay", wrong, directory);
        EXPECT_EQ(64, player.WaitForExit());
        EXPECT_NE(std::string::npos, player.Output().find("usage: tarnplay")) << player.Output();
    }
}

TEST_P(ScriptFailure, PrintsItsMessageAndExitsWithOne) {
    const Failure& failure = GetParam();
    script(failure.file, failure.text);
    EXPECT_EQ(1, play(failure.file, 5));
    EXPECT_NE(std::string::npos, output.find(failure.expected)) << output;
}

INSTANTIATE_TEST_SUITE_P(
    , ScriptFailure,
    testing::Values(
        Failure{"SyntaxError", "broken.lua", "function Init(\n",
                "Scripttype: Lua\nLua Err INIT: attempt to call a nil value.\n"
                "Lua Err INIT: scripts/broken.lua:2: "},
        Failure{"MoonSyntaxError", "broken.moon", "Init = -> (\n",
                "Lua Err INIT: attempt to call a nil value.\n"},
        Failure{"FileRaisesAfterInit", "late.lua", "Init = print Draw = print error('late', 0)",
                "Lua Err LOAD: late.\n"},
        Failure{"InitRaises", "init.lua", "function Init() error('no luck') end",
                "Lua Err INIT: scripts/init.lua:1: no luck.\n"},
        Failure{"DrawMissing", "nodraw.lua",
                "function Init() end function OnError() print('OnError ran') end",
                "Lua Err: attempt to call a nil value"},
        Failure{"DrawRaises", "draw.lua",
                "function Init() end function Draw() error('oops') end function OnError() print('OnError "
                "ran') end",
                ": oops\nstack traceback:"},
        Failure{
            "OnErrorRuns", "onerror.lua",
            "function Init() end function Draw() nothing() end function OnError() print('OnError ran') end",
            ".\nOnError ran\n"},
        Failure{"UpperCaseEnding", "LOUD.LUA", "function Init() error('ran as Lua') end",
                "WAT THE FOOK TYPE OF FILE IS THIS, BRO?  er, Err: Incorrect file extension.\n"
                "Lua Err INIT: scripts/LOUD.LUA:1: ran as Lua.\n"}),
    [](const auto& failure) { return failure.param.name; });

TEST_F(Script, AFailingKeyHappenIsReportedAndTheFrameGoesOn) {
    script("keyerror.lua", "function Init() BindKey(1, 0) end function Draw() end\n"
                           "function KeyHappen() error('bad key') end");
    Program player("tarnplay", {"keyerror.lua"}, directory);
    ASSERT_TRUE(player.WaitFor("FPS:"));
    key("a");
    EXPECT_TRUE(player.WaitFor("LUA ERR: scripts/keyerror.lua:2: bad key\nstack traceback:"));
    EXPECT_TRUE(player.WaitFor("FPS:", 2));
}

// What it tells about its frames is printed, here and by ./test: a busy machine makes them late.
TEST_F(Script, EveryFunctionEveryFrameDoesNotGrowInMemory) {
    script("soak.lua", readText(TARN_SOURCE_DIR "/tests/e2e/soak.lua"));
    const char* seconds = std::getenv("TARN_SOAK_SECONDS");
    const int frames = 60 * (seconds ? atoi(seconds) : 10);
    ASSERT_EQ(0, play("soak.lua", frames)) << output;
    std::vector<int> kilobytes;
    for (std::size_t at = 0; (at = output.find("resident ", at)) != std::string::npos; ++at)
        kilobytes.push_back(atoi(output.c_str() + at + 9));
    ASSERT_GT(kilobytes.size(), 5u) << output;
    // Caches fill in the first seconds, texts live for five; in a long run the first minute is for that.
    const int settled = kilobytes[std::min<std::size_t>(kilobytes.size() / 2, 60)];
    EXPECT_LT(kilobytes.back(), settled + kGrowthAllowed) << output;
    EXPECT_EQ(std::string::npos, output.find("OpenGL Error")) << output;
    const std::size_t last = output.rfind("resident ");
    printf("Soak: %i KB after the start, %s\n", settled,
           output.substr(last, output.find('\n', last) - last).c_str());
}

TEST_F(Script, ASaveSurvivesAKillAtAnyMoment) {
    script("saver.lua", R"(
local contents = { string.rep("a", 5000), string.rep("b", 70000) }
function Init() end
function Draw() for i = 1, 50 do WriteSaveString("g", "kept", contents[i % 2 + 1]) end end)");
    expectWholeAfterKills("tarnplay", {"-r", "64", "64", "saver.lua"}, "kept", std::string(5000, 'a'),
                          std::string(70000, 'b'), 12);
}

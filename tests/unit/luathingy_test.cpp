// The script host: scripts run through a real LuaThingy in a small window of its own. What a script must
// print stands in it as comments, in order:  print("seen") -- expect: seen
#include "luathingy.h"

#include "drawjoin.h"
#include "gl_files.h"
#include "lua_api.h"
#include "manager_audio.h"

#include <memory>
#include <sstream>
#include <vector>

namespace {

class HostTest : public GlFilesTest {
protected:
    void SetUp() override {
        GlFilesTest::SetUp();
        std::filesystem::create_directory_symlink(TARN_SOURCE_DIR "/media", "media");
    }
    void TearDown() override {
        host.reset();
        GlFilesTest::TearDown();
    }
    /// Opens a host for the script, whose file is missing when it is empty, and calls its Init.
    int start(const std::string& script, const std::string& name = "game.lua") {
        if (!script.empty())
            write("scripts/" + name, script);
        host = std::make_unique<LuaThingy>();
        host->width = host->height = 64;
        host->limitFps = false;
        host->SetLoadScript(name.c_str());
        host->SetupStandardWindow();
        return host->Init();
    }
    /// What a piece of script prints in the running host; an error is printed as well.
    std::string run(const std::string& code) {
        return printed([&] {
            if (luaL_dostring(host->luaState, code.c_str()) != 0)
                printf("%s\n", lua_tostring(host->luaState, -1));
            lua_settop(host->luaState, 0);
            drawJoin.Sync(); // as the host does after each callback
        });
    }
    std::unique_ptr<LuaThingy> host;
};

class ApiTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        printed([&] { ASSERT_EQ(0, start("function Init() end")); });
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        while (glGetError() != GL_NO_ERROR) {
        }
    }
};

std::string expectedOf(const std::string& script) {
    std::istringstream lines(script);
    std::string expected;
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.find("-- expect: ");
        if (at != std::string::npos)
            expected += line.substr(at + 11) + "\n";
    }
    return expected;
}

/// Without the usual type of script, the frame-rate line and the stack levels of tracebacks.
std::string withoutNoise(const std::string& text) {
    std::istringstream lines(text);
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (line != "Scripttype: Lua" && line.rfind("FPS:", 0) != 0 && line.rfind('\t', 0) != 0)
            kept += line + "\n";
    return kept;
}

/// Every engine function, the arguments it needs, and the name printed when there are fewer.
const char* const kFunctions = R"(
    Geom:1: LookAt:6:LookAt Move:1: Rotate:1: Scale:1: Push:0: Pop:0: GMove:1: GRotate:1: GScale:1:
    GPush:0: GPop:0: GReset:0: NewGeom:0: Place:1: TMove:1: TRotate:4: TScale:1: TPush:0: TPop:0:
    TReset:0: AddTex:1:addtex Tex:0: AddGeom:1:addgeom AddShad:1:addtex Shad:0: SetShadersEnabled:1:shad
    GetShadersEnabled:0: GetNewAudio:1:addaudiodata SetAudioData:1:addaudiodata
    GetAudioData:1:addaudiodata AddAudio:1:addaudio Audio:0: StopAudio:0: AudioProps:0: AddMusic:1:music
    Music:1:music StopMusic:1:music MusicProps:1:music DeclareUniform:0: Uniform:0: SetCam:1:
    Set2DCamScale:1: SetLighting:1:lighting SetLight:1:lighting SetLightColor:4: SetLightAtten:4:
    Color:1:color Blend:1: Depth:1: Logic:1: BackColor:4:BackColor Culling:1:lighting DrawLine:0:
    SetAmbientColor:3: GetScriptsPath:0: GetMediaPath:0: GetMouseScalar:0: GetMouseTotal:0:
    GetWindowSize:0: GetMouseRelative:0: SetMouseVis:1:vis SetMouseFree:1:free BeginRTTFull:0:
    EndRTTFull:0: GetNoise:1:noise SetNoiseSeed:1:noisesetseed Quad:0: ReadSaveString:1:savedata
    WriteSaveString:1:savedata SetSpaceMapper:0: SpaceMapperReset:0: AddSpaceObject:0: SpaceEvent:0:
    MapPoint:0: MapLine:0: DebugDrawSegments:0: Set2DSpaceBounds:4:set2dspacebounds Text:1:addtext
    BindKey:2:bindkey TypingMode:1:settypingmode SetScreenshotDir:1:screenshotdir SetVSync:1:)";

struct Function {
    std::string name;
    size_t needed;
    std::string message;
};

std::vector<Function> allFunctions() {
    std::vector<Function> all;
    std::istringstream entries(kFunctions);
    for (std::string e; entries >> e;) {
        const size_t colon = e.find(':');
        all.push_back({e.substr(0, colon), static_cast<size_t>(e[colon + 1] - '0'), e.substr(colon + 3)});
    }
    return all;
}

struct State {
    const char* code;
    unsigned name;             ///< for glGetFloatv
    std::vector<float> values; ///< its first values
};

const State kStates[] = {
    {"Move(1, 2)", GL_MODELVIEW_MATRIX, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 0, 1}},
    {"Scale(2)", GL_MODELVIEW_MATRIX, {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2}},
    {"Scale(2, 3)", GL_MODELVIEW_MATRIX, {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0}},
    {"Rotate(1, 0, 0, '0.5')", GL_MODELVIEW_MATRIX, {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0}},
    {"LookAt(0, -10, 0, 0, 0, 0)", GL_MODELVIEW_MATRIX, {1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, -10, 1}},
    {"Set2DCamScale(4) SetCam(2)", GL_PROJECTION_MATRIX, {0.25f, 0, 0, 0, 0, 0.25f}},
    {"SetCam(3, 90)", GL_PROJECTION_MATRIX, {1, 0, 0, 0, 0, 1}},
    {"Color(0.5)", GL_CURRENT_COLOR, {0.5f, 0.5f, 0.5f, 1}},
    {"Color(1, 0)", GL_CURRENT_COLOR, {1, 0, 0, 1}},
    {"Color(0, 1, true, 0.25)", GL_CURRENT_COLOR, {0, 1, 0, 0.25f}},
    {"Blend(1)", GL_BLEND_DST, {GL_ONE}},
    {"Blend(4, 5)", GL_BLEND_DST, {GL_ONE_MINUS_SRC_ALPHA}},
    {"Blend(8, 8)", GL_BLEND_DST, {GL_ONE_MINUS_SRC_ALPHA}},
    {"Blend(2)", GL_BLEND, {1}},
    {"Depth(1, 0)", GL_DEPTH_WRITEMASK, {0}},
    {"Depth(0)", GL_DEPTH_TEST, {0}},
    {"Logic(10)", GL_LOGIC_OP_MODE, {GL_XOR}},
    {"Logic(16)", GL_LOGIC_OP_MODE, {GL_XOR}},
    {"Logic(-1)", GL_COLOR_LOGIC_OP, {0}},
    {"Culling(1)", GL_CULL_FACE, {1}},
    {"BackColor(0.25, 0.5, 0.75, 1)", GL_COLOR_CLEAR_VALUE, {0.25f, 0.5f, 0.75f, 1}},
    {"SetAmbientColor(0.5, 0, 1)", GL_LIGHT_MODEL_AMBIENT, {0.5f, 0, 1, 1}},
    {"SetLight(1, 2, 3, 4)", GL_LIGHT1, {1}},
    {"SetLighting(true)", GL_LIGHTING, {0}},
    {"SetLight(-1e300)", GL_LIGHTING, {1}}};

struct Life {
    const char* what;
    const char* file;
    int init, last; ///< results of Init and of the last frame
    const char* script;
};

void PrintTo(const Life& life, std::ostream* out) {
    *out << life.what;
}

class Lives : public HostTest, public testing::WithParamInterface<Life> {};

const Life kLives[] = {
    {"callbacks in their order", "game.lua", 0, 0, R"(
        print("main", Init, __mLuaThingy) -- expect: main	nil	nil
        function Init() print("init", type(__mLuaThingy), GetScriptsPath()) end -- expect: init	userdata	scripts/
        function Draw(t, d) print("draw", t > 0, d > 0) end -- expect: draw	false	false
        -- expect: draw	true	true)"},
    {"syntax error", "game.lua", -1, 0, R"(x = = 1 -- expect: Lua Err INIT: attempt to call a nil value.
        -- expect: Lua Err INIT: scripts/game.lua:1: unexpected symbol near '='.
        -- expect: Lua Err INIT: (nil).)"},
    {"no Draw: OnError once, its own error ignored", "game.lua", 0, -1, R"(function Init() end
        -- expect: Lua Err: attempt to call a nil value
        -- expect: stack traceback:.
        function OnError() print("on error") error("again") end -- expect: on error)"},
    {"error value that is no text, tracebacks taken away", "game.lua", 0, -1,
     R"(function Init() debug = nil end
        function Draw() error({}) end -- expect: Lua Err: (table).)"},
    {"an object whose __gc raises between two frames", "game.lua", 0, -1, R"(function Init() end
        function OnError() print("on error") end
        function Draw() -- expect: Lua Err: (table).
            collectgarbage() collectgarbage("stop") -- expect: on error
            getmetatable(newproxy(true)).__gc = function() error({}) end
            collectgarbage("setpause", 1) collectgarbage("setstepmul", 1e6) collectgarbage("restart")
        end)"},
    {"error value that is a number", "game.lua", -1, 0,
     R"(function Init() error(12.5, 0) end -- expect: Lua Err INIT: 12.5.
        -- expect: Lua Err INIT: (nil).
        -- expect: Lua Err INIT: (table).)"},
    {"a mesh placed into itself", "game.lua", 0, 0, R"(function Draw() end
        function Init() AddGeom("geom/cube.obj") for i = 1, 20 do Place(0, 0) end end
        -- expect: ERR: mesh not placed, 25165824 vertices are too many)"},
    {"globals that raise on unknown and new names", "game.lua", 0, -1,
     R"(function Init() Push() GPush() Pop() end
        debug.traceback = function(m) return m end
        setmetatable(_G, {__index = function(_, k) error(k) end, __newindex = function(_, k) error(k) end})
        -- expect: Lua Err: attempt to call a nil value.)"},
    {"unknown ending runs as Lua", "GAME.LUA", 0, 0, R"(function Init() Draw = Init end
        -- expect: WAT THE FOOK TYPE OF FILE IS THIS, BRO?  er, Err: Incorrect file extension.)"},
    {"file name with quote and line break", "a \"b\"\n.lua", 0, 0,
     R"(function Init() Draw = Init end print("ran")
        -- expect: ran)"},
    {"engine calls before Init", "game.lua", 0, 0, R"(
        print(AddTex("stone.png"), GetWindowSize()) -- expect: ERR: engine function called before Init
        function Init() Draw = Push end -- expect: -1	0	0
        print(NewGeom(), ReadSaveString("a", "b"), #GetAudioData(0)) -- expect: -1		0)"},
    {"calls and what they return", "game.lua", 0, 0, R"(function Draw() end
        function Init()
            print(NewGeom(), NewGeom("a"), NewGeom("g", "b"), NewGeom(1, 2, 3)) -- expect: 0	1	2	-1
            Place("no", "a") -- expect: Error 46561
            -- expect: Error: Place(): group or name not valid.
            Place("a", "no") -- expect: ERR 5123
            Place(-1, 0) -- expect: ERR 1235
            Place("none", "a", 0) -- expect: Error: Place(): group or name not valid.
            print(AddTex("a.png", "g"), AddTex("b.png", "g", 1), AddTex("c.png", nil)) -- expect: 0	1	2
            Tex("g", "b") -- expect: Error: Item not found in group.
            Tex("1") -- expect: Error: Item not found in group.
            Tex(7) Tex(1, 2, 3) -- expect: Error: item index above current item count.
            print(AddTex({})) -- expect: ERR: missing string argument: AddTex
            print(Audio({})) -- expect: -1
            -- expect: ERR: missing string argument: Audio
            Text() -- expect: -1
            -- expect: ERR: too few args: addtext
            -- expect: ERR: missing string argument: Text
            SetShadersEnabled(true) print(GetShadersEnabled()) -- expect: 0
            SetShadersEnabled(1) print(GetShadersEnabled()) -- expect: 1
            local s = GetNewAudio("s")
            SetAudioData(s) -- expect: ERR: missing list argument: SetAudioData
            SetAudioData(s, {1, 0, "0.5", 0.5, 9}, 1, 8000, 2)
            local d = GetAudioData(s) print(#d, math.floor(d[1] * 16383), d[1] == d[2]) -- expect: 2	8191	true
            print(#GetAudioData(GetNewAudio("e", "g"))) -- expect: 0
            WriteSaveString("g", "score", 42) print(ReadSaveString("h", "score")) -- expect: 42
            print(ReadSaveString("g", "none") == "", GetWindowSize()) -- expect: true	64	64
            MapLine({}, {}, 0, {}, {}) -- expect: ERR: no space mapper, call SetSpaceMapper(1) first
            print(pcall(MapPoint, {}, {}, 0, {}, {})) -- expect: false	MapPoint: argument 6 is not a table
        end)"},
    {"MoonScript", "game.moon", 0, 0, R"(-- expect: Scripttype: Moon
export Init = -> print "moon", #GetMediaPath! -- expect: moon	6
export Draw = (t, d) -> 1)"},
};

} // namespace

TEST_P(Lives, PrintsAndEndsAsExpected) {
    const Life& life = GetParam();
    const std::string output = printed([&] {
        EXPECT_EQ(life.init, start(life.script, life.file));
        int last = 0;
        for (int frame = 0; life.init == 0 && frame < 4 && last == 0; ++frame)
            last = host->TimeStep();
        EXPECT_EQ(life.last, last);
    });
    EXPECT_EQ(expectedOf(life.script), withoutNoise(output));
}
INSTANTIATE_TEST_SUITE_P(All, Lives, testing::ValuesIn(kLives));

TEST_F(ApiTest, EachFunctionIsThereAndCountsItsArguments) {
    EXPECT_EQ(83u, allFunctions().size());
    for (const Function& f : allFunctions()) {
        EXPECT_EQ("function\n", run("print(type(" + f.name + "))")) << f.name;
        const std::string zeros = ", 0, 0, 0, 0, 0, 0";
        const std::string enough = "pcall(" + f.name + zeros.substr(0, 3 * f.needed) + ")";
        EXPECT_EQ(std::string::npos, run(enough).find("too few")) << f.name;
        if (f.needed == 0)
            continue;
        const std::string less = "pcall(" + f.name + zeros.substr(0, 3 * (f.needed - 1)) + ")";
        EXPECT_EQ(0u, run(less).find("ERR: too few args: " + f.message + "\n")) << f.name;
    }
}

TEST_F(ApiTest, AnyArgumentsLeaveTheEngineRunning) {
    testing::internal::CaptureStderr(); // the audio library's complaints
    run("values = {nil, true, -1, 0, 2.5, 1e300, 0/0, '1', 'no', {1, 2, 3, 4}, print} seed = 1 "
        "function pick(n) seed = seed * 16807 % 2147483647 "
        "  if n > 0 then return values[seed % 11 + 1], pick(n - 1) end end "
        "function storm(f) for n = 0, 8 do for round = 1, 25 do "
        "  local ok, e = pcall(f, pick(n)) if not ok then print('RAISED', e) end end end end");
    const std::string mayRaise = " MapPoint MapLine ";
    // full or empty stacks, lights that do not exist
    const std::string unclean = " Push Pop BeginRTTFull EndRTTFull SetLightColor SetLightAtten ";
    for (const Function& f : allFunctions()) {
        const bool raised = run("storm(" + f.name + ")").find("RAISED") != std::string::npos;
        EXPECT_EQ(mayRaise.find(" " + f.name + " ") != std::string::npos, raised) << f.name;
        const bool clean = glGetError() == GL_NO_ERROR;
        EXPECT_EQ(unclean.find(" " + f.name + " ") == std::string::npos, clean) << f.name;
        while (glGetError() != GL_NO_ERROR) {
        }
    }
    testing::internal::GetCapturedStderr();
    run("function Draw() drawn = true end");
    printed([&] {
        for (int frame = 0; frame < 4; ++frame)
            EXPECT_EQ(0, host->TimeStep());
    });
    EXPECT_EQ("true\n", run("print(drawn)"));
}

TEST_F(ApiTest, ForeignHostPointersAreRefusedWithOneLine) {
    std::string all;
    for (const char* value : {"nil", "5", "newproxy()", "io.stdout"})
        for (const Function& f : allFunctions())
            all += run(std::string("__mLuaThingy = ") + value + " pcall(" + f.name +
                       ", 'a', 'b', 'c', 1, 1, 1)");
    EXPECT_EQ("ERR: the script changed __mLuaThingy, engine functions do nothing now\n", all);
}

TEST_F(ApiTest, ChangesOpenGLState) {
    for (const State& state : kStates) {
        glLoadIdentity();
        drawJoin.Adopt();
        EXPECT_EQ("", run(state.code));
        float found[16] = {};
        glGetFloatv(state.name, found);
        for (size_t i = 0; i < state.values.size(); ++i)
            EXPECT_NEAR(state.values[i], found[i], 1e-6f) << state.code << " value " << i;
        EXPECT_EQ(static_cast<unsigned>(GL_NO_ERROR), glGetError()) << state.code;
    }
}

TEST_F(ApiTest, GeometryStacksTakeHalfTurnsAndRadians) {
    run("GMove(1, 2) GPush() GRotate(0.5) GScale(2, 3) TMove(0.5) TPush() TRotate(0, 0, 1, math.pi) "
        "TScale(2)");
    const float* m = host->geometryManager.geomStack.Ptr()->m;
    const float* t = host->geometryManager.texStack.Ptr()->m;
    const float found[] = {m[1], m[4], m[10], m[12], m[13], t[0], t[5], t[10], t[12]};
    const float expected[] = {2, -3, 0, 1, 2, -2, -2, 1, 0.5f};
    for (size_t i = 0; i < std::size(found); ++i)
        EXPECT_NEAR(expected[i], found[i], 1e-6f) << i;
    run("GPop() TPop() GReset()");
    EXPECT_EQ(0, host->geometryManager.geomStack.Ptr()->m[12]);
    EXPECT_EQ(0.5f, host->geometryManager.texStack.Ptr()->m[12]);
}

TEST_F(ApiTest, ShadersUniformsAndRenderTargetReachThePixels) {
    host->shaderManager.SetPathPrefix("");
    write("u.shad", "#SECTION VERTEX\nvoid main() { gl_Position = gl_Vertex; }\n"
                    "#SECTION FRAGMENT\nuniform float glow;\nvoid main() { gl_FragColor = vec4(glow); }\n");
    EXPECT_EQ(
        "",
        run("AddShad('u.shad', 's') Uniform(0, 1) Shad('s', 'u') DeclareUniform(0, 'glow') Uniform(0, 0.2) "
            "Blend(-1) Quad() Shad(-1)"));
    EXPECT_EQ((std::array<int, 3>{51, 51, 51}), pixel(32, 32));
    EXPECT_EQ("", run("SetCam(2) BeginRTTFull() Color(1, 0, 0) Quad() EndRTTFull()"));
    EXPECT_EQ((std::array<int, 3>{255, 0, 0}), pixel(32, 32));
}

TEST_F(ApiTest, TextIsCachedByItsParameters) {
    EXPECT_EQ("", run("AddTex('textures/font.png') Text(7) Text('7', 1, 0, 0) Text('7', -1, 0.5, 0.25)"));
    ASSERT_EQ(2, host->textManager.texts.Count());
    const auto* second = static_cast<const TextObj*>(host->textManager.texts.Get(1));
    EXPECT_TRUE(second->align == -1 && second->spacing == 0.5f && second->lineSpacing == 0.25f);
}

TEST_F(ApiTest, SoundPropertiesUseTheirDefaults) {
    run("s = GetNewAudio('s') SetAudioData(s, {1, 1}, 1, 8000, 1) c = Audio(s) AudioProps(c, 0.5) "
        "AudioProps(c)");
    const SoundSlot& slot = host->audioManager.channels[0];
    EXPECT_EQ("0\n", run("print(c)"));
    EXPECT_TRUE(slot.getVolume() == 50 && slot.getPitch() == 1 && !slot.looping);
    run("AudioProps(c, 1, 2, 1, 3)");
    EXPECT_TRUE(slot.getVolume() == 100 && slot.getPitch() == 2 && slot.looping);
    EXPECT_EQ(sf::Vector3f(3, 0, 0), slot.getPosition());
}

TEST_F(ApiTest, InputIsBoundAndRead) {
    run("BindKey(5, 0) BindKey(5, 3) BindKey(5, 1, 1) SetMouseFree(1) SetMouseFree(2) TypingMode(2.9)");
    const int* bindings = host->input.keys.bindings;
    EXPECT_EQ((std::vector<int>{-1, 5, -1, 5}), std::vector<int>(bindings, bindings + 4));
    EXPECT_EQ(2, host->typingMode);
    EXPECT_FALSE(host->mouseLocked); // 1 - 2 has left it alone
    run("SetMouseFree(-1e300)");
    EXPECT_TRUE(host->mouseLocked);
    host->mouseX = 0.75f;
    host->mouseY = 0.25f;
    host->orthoScaleX = 2;
    host->mouseRelX = host->mouseTotalX = 0.5f;
    host->mouseRelY = host->mouseTotalY = 0.25f;
    EXPECT_EQ("1\t0.5\n0.5\t-0.25\n0.5\t0.25\n",
              run("print(GetMouseScalar()) print(GetMouseRelative()) print(GetMouseTotal())"));
}

TEST_F(ApiTest, NoiseAndMapperGiveTheEnginesValues) {
    SimplexNoise noise(3);
    const float expected = noise.Noise(0.5f, 1.25f, 0);
    EXPECT_EQ(std::to_string(expected) + "\n",
              run("SetNoiseSeed(3) print(string.format('%f', GetNoise(0.5, 1.25)))"));
    run("SetSpaceMapper(1) Set2DSpaceBounds(-5, -5, 5, 5) AddSpaceObject('LINE2D', -5, 1, 5, 1) "
        "AddSpaceObject('line2d', -5, 0, 5, 0)");
    host->spaceMapper->SetTime(0, 1);
    EXPECT_EQ("1\t0.25\t0.500001\t3.000001\t4.000000\n",
              run("c, r, v = {}, {}, {} n = MapPoint({0.25, 2, 9, 9}, {0, -4}, 0.5, c, r, v) "
                  "print(n, c[1], string.format('%f\\t%f\\t%f', c[2], r[2], v[2]))"));
}

TEST_F(HostTest, AMissingScriptIsNamed) {
    EXPECT_NE(std::string::npos,
              printed([&] { start(""); }).find("\nLua Err INIT: cannot open scripts/game.lua"));
}

TEST_F(HostTest, KeysReachTheScriptAndTheCaptureComesFirst) {
    LuaThingy early;
    early.GameKeyHappen(35, 1); // no script yet
    const std::string output = printed([&] {
        start("function Init() SetScreenshotDir('.') BindKey(35, 0) BindKey(7, 1) end "
              "function KeyHappen(k, s, t) print(k, s, t, io.open('capture000.bmp') ~= nil) end");
        host->KeyHappen(1, true);
        host->KeyHappen(0, true);
        host->SetTypingMode(1);
        host->KeyHappen(35, true);
        host->SetTypingMode(0);
    });
    EXPECT_EQ("Scripttype: Lua\n7\t1\t0\tfalse\nScreenshot saved to: ./capture000.bmp\n35\t1\t0\ttrue\n"
              "35\t1\t0\ttrue\n",
              output);
    run("function KeyHappen() error('x', 0) end debug.traceback = function(m) return m end");
    EXPECT_EQ("LUA ERR: x.\n", printed([&] { host->GameKeyHappen(7, 2); }));
    printed([&] {
        for (int i = 0; i < 20000; ++i) // more than the Lua stack holds between two drawn frames
            host->GameKeyHappen(7, 2);
    });
}

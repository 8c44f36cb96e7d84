// Joined drawing: random scripts through the engine functions and through plain OpenGL calls must give the
// same picture, bit for bit, and the same errors.
#include "drawjoin.h"

#include "gl_files.h"
#include "lua_api.h"
#include "luathingy.h"
#include "materials.h"
#include "opengl.h"
#include "tarneuc.h"

#include <algorithm>
#include <memory>

namespace {

constexpr int kSide = 96; // of the window
LuaThingy* host;          // of the running test

float n(lua_State* L, int index) {
    return static_cast<float>(lua_tonumber(L, index));
}
int i(lua_State* L, int index) {
    return static_cast<int>(lua_tointeger(L, index));
}
int enable(unsigned capability, bool on) {
    return (on ? glEnable(capability) : glDisable(capability)), 0;
}

/// The engine functions by one OpenGL call after the other, for the arguments that kPlayer uses.
using S = lua_State;
const luaL_Reg kPlain[] = {
    {"Push", [](S*) { return glPushMatrix(), 0; }},
    {"Pop", [](S*) { return glPopMatrix(), 0; }},
    {"Move", [](S* L) { return glTranslatef(n(L, 1), n(L, 2), n(L, 3)), 0; }},
    {"Scale", [](S* L) { return glScalef(n(L, 1), n(L, 2), n(L, 3)), 0; }},
    {"Rotate", [](S* L) { return glRotatef(n(L, 4) * 180, n(L, 1), n(L, 2), n(L, 3)), 0; }},
    {"LookAt", [](S* L) { return LookAtV3(V3(0, 0, 0), V3(n(L, 1), n(L, 2), n(L, 3))), 0; }},
    {"SetCam", [](S* L) { return host->InitCamera(i(L, 1) == 2 ? 2 : 0, 0), 0; }},
    {"Color", [](S* L) { return glColor4f(n(L, 1), n(L, 2), n(L, 3), n(L, 4)), 0; }},
    {"Blend", [](S* L) { return glBlendFunc(GL_SRC_ALPHA, GL_ONE), enable(GL_BLEND, i(L, 1) > 0); }},
    {"Depth", [](S* L) { return glDepthMask(i(L, 2) != 0), enable(GL_DEPTH_TEST, i(L, 1) != 0); }},
    {"Culling", [](S* L) { return enable(GL_CULL_FACE, i(L, 1) != 0); }},
    {"Logic", [](S* L) { return glLogicOp(GL_XOR), enable(GL_COLOR_LOGIC_OP, i(L, 1) >= 0); }},
    {"SetLight",
     [](S* L) { return host->SetLighting(true), host->SetLight(0, n(L, 2), n(L, 3), n(L, 4)), 0; }},
    {"SetLighting", [](S* L) { return host->SetLighting(i(L, 1) != 0), 0; }},
    {"Tex", [](S* L) { return host->textureManager.Use(i(L, 1)), 0; }},
    {"Shad", [](S* L) { return host->shaderManager.Use(i(L, 1)), 0; }},
    {"Uniform",
     [](S* L) {
         float value = n(L, 2);
         Shader* bound = host->shaderManager.GetBoundShader();
         return bound ? bound->UpdateUniform(i(L, 1), &value) : void(), 0;
     }},
    {"Quad", [](S*) { return host->quad.Draw(), 0; }},
    {"Geom", [](S* L) { return host->geometryManager.Use(i(L, 1)), 0; }},
    {"Text",
     [](S* L) {
         host->textureManager.Use("font");
         host->textManager.CreateDrawText(lua_tostring(L, 1), nullptr);
         return host->textureManager.Use(-1), 0;
     }},
    {"DrawLine", [](S* L) { return DrawLine(n(L, 1), n(L, 2), n(L, 3), n(L, 4), n(L, 5), n(L, 6)), 0; }},
    {"BeginRTTFull", [](S*) { return host->renderTarget.BeginRTT(kSide, kSide, V4(0, 0, 0, 1)), 0; }},
    {"EndRTTFull",
     [](S*) { return host->renderTarget.EndRTT(host), host->renderTarget.DrawRTTFull(host), 0; }},
    {nullptr, nullptr}};

/// Makes 60 calls of f, a table of engine functions: draws, and as many of the first `kinds` of all.
const char kPlayer[] = R"(function play(f, seed, kinds)
    local function any(n) seed = seed * 16807 % 2147483647 return seed % n end
    local function r(a) return (any(20001) / 10000 - 1) * a end
    local depth, target = 0, false
    local calls = {
      function() f.Quad() end, function() f.Geom(any(3)) end,
      function() f.Text(("t  xt"):rep(any(16))) end, function() f.DrawLine(r(1), r(1), r(1), r(1), r(1), r(1)) end,
      function() f.Tex(any(5) - 1) end, function() f.Color(r(1.2), r(1.2), r(1.2), r(1)) end,
      function() if depth < 8 then depth = depth + 1 f.Push() end end,
      function() if depth > 0 then depth = depth - 1 f.Pop() end end,
      function() f.Move(r(0.5), r(0.5), r(0.2)) end, function() f.Scale(r(1.5), r(1.5), r(1.5)) end,
      function() f.Rotate(any(2) * r(1), any(2) * r(1), any(3) - 1, r(2)) end,
      function() f.Blend(any(2) * 2 - 1) end, function() f.Depth(any(2), any(2)) end,
      function() f.SetCam(2 + any(2)) end, function() f.LookAt(r(2), r(2) + 3, r(2), 0, 0, 0) end,
      function() f.Culling(any(2)) end, function() f.Logic(any(4) == 0 and 10 or -1) end,
      function() f.Shad(any(4) == 0 and any(3) or -1) end,
      function() f.Shad(any(3)) f.Uniform(0, r(1)) f.Shad(any(4) - 1) end,
      function() target = not target if target then f.BeginRTTFull() else f.EndRTTFull() end end,
      function() f.SetLighting(any(2)) end, function() f.SetLight(0, r(2), r(2), r(2)) end}
    f.Shad(2) f.Uniform(0, 0.5) f.Shad(-1)
    for _ = 1, 30 do calls[any(kinds) + 1]() calls[any(11) + 1]() end
    while depth > 0 do depth = depth - 1 f.Pop() end
    if target then f.EndRTTFull() end
    f.SetLighting(0) f.Shad(-1) f.Logic(-1) f.Culling(0) end)";
constexpr int kExactKinds = 19; ///< those before the render target

class DrawJoinTest : public GlFilesTest {
protected:
    void SetUp() override {
        GlFilesTest::SetUp();
        std::filesystem::create_directory_symlink(TARN_SOURCE_DIR "/media", "media");
        const std::string vertex =
            "#SECTION VERTEX\nvoid main() { gl_Position = ftransform(); gl_FrontColor = gl_Color; }\n";
        write("half.shad", vertex + "#SECTION FRAGMENT\nvoid main() { gl_FragColor = gl_Color * 0.5; }\n");
        write("bad.shad", vertex + "#SECTION FRAGMENT\nvoid main() { gl_FragColor = nothing; }\n");
        write("tint.shad", vertex + "#SECTION FRAGMENT\nuniform float tint;\n"
                                    "void main() { gl_FragColor = gl_Color * tint; }\n");
        write("scripts/game.lua",
              "function Init() AddTex('textures/font.png') AddTex('textures/brick.png') "
              "AddTex('textures/star.png') AddTex('textures/wood.png') AddGeom('geom/gem.obj') "
              "AddGeom('geom/cube.obj') AddGeom('geom/sphere.obj') AddShad('half.shad') "
              "AddShad('bad.shad') AddShad('tint.shad') Shad(1) Shad(2) DeclareUniform(0, 'tint') Shad(-1) "
              "end");
        game = std::make_unique<LuaThingy>();
        host = game.get();
        game->width = game->height = kSide;
        game->shaderManager.SetPathPrefix("");
        game->SetLoadScript("game.lua");
        game->SetupStandardWindow();
        printed([&] { ASSERT_EQ(0, game->Init()); });
        glGetError(); // of the program that cannot be
        luaL_register(game->luaState, "plain", kPlain);
        run(kPlayer);
    }
    void TearDown() override {
        game.reset();
        GlFilesTest::TearDown();
    }
    void run(const std::string& code) {
        ASSERT_EQ(0, luaL_dostring(game->luaState, code.c_str())) << lua_tostring(game->luaState, -1);
        lua_settop(game->luaState, 0);
        drawJoin.Sync();
    }
    /// Colour and depth of a frame that the code has drawn, joined where it uses _G.
    std::vector<unsigned> frame(const std::string& code) {
        glColor4f(1, 1, 1, 1);
        glBindTexture(GL_TEXTURE_2D, 0);
        const bool joined = code.find("_G") != std::string::npos;
        game->SetupFrame(!joined);
        game->SetLight(0, 1, 1, 1);
        drawJoin.Adopt();
        if (joined)
            drawJoin.OweDepthClear();
        run(code);
        std::vector<unsigned> pixels(2 * kSide * kSide);
        glReadPixels(0, 0, kSide, kSide, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        glReadPixels(0, 0, kSide, kSide, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, &pixels[kSide * kSide]);
        return pixels;
    }
    /// Frames that differ between joined and plain calls.
    int differences(int seeds, int kinds) {
        int differ = 0;
        for (int seed = 1; seed <= seeds; ++seed) {
            const std::string rest = ", " + std::to_string(seed) + ", " + std::to_string(kinds) + ")";
            differ += frame("play(plain" + rest) != frame("play(_G" + rest);
        }
        return differ;
    }
    std::unique_ptr<LuaThingy> game;
};

TEST_F(DrawJoinTest, RandomScriptsGiveThePictureOfPlainCalls) {
    EXPECT_EQ(0, differences(150, kExactKinds));
    // Lights: the driver inverts a loaded matrix in another way than one that it has multiplied itself.
    // Render target: immediate mode treats the colour as it was set last, before or after other calls.
    EXPECT_LE(differences(150, kExactKinds + 3), 3);
}

TEST_F(DrawJoinTest, BlanksAreLeftOutOnlyWhereNothingOfThemShows) {
    for (const std::string state : {"", "f.Depth(1, 1)", "f.Blend(-1)", "f.Logic(10)", "f.SetCam(3)"})
        for (float scale = 0.01f; scale < 2; scale *= 1.2f) {
            const std::string code =
                "(function(f) f.SetCam(2) f.Depth(0, 0) f.Blend(1) f.Color(0.3, 0.5, 0.7, 1) f.Quad() " +
                state + " f.Scale(" + std::to_string(scale) +
                ", 0.4, 1) f.Text('0 .  ! /     , 0 ') f.Logic(-1) end)";
            EXPECT_TRUE(frame(code + "(plain)") == frame(code + "(_G)")) << state << " at " << scale;
        }
    PFNGLBEGINQUERYPROC begin = nullptr;
    PFNGLENDQUERYPROC end = nullptr;
    PFNGLGETQUERYOBJECTUIVPROC get = nullptr;
    fetchGlFunction(begin, "glBeginQuery");
    fetchGlFunction(end, "glEndQuery");
    fetchGlFunction(get, "glGetQueryObjectuiv");
    for (const bool shows : {false, true}) {
        unsigned samples = 0;
        begin(GL_SAMPLES_PASSED, 1);
        run(std::string("SetCam(2) Depth(0) Blend(0) Text('") + (shows ? ".   " : "    ") + "')");
        end(GL_SAMPLES_PASSED);
        get(1, GL_QUERY_RESULT, &samples);
        EXPECT_EQ(shows, samples > 0);
    }
}

// What is pending was drawn with the function that the first Depth(1) sets after it.
TEST_F(DrawJoinTest, FirstDepthTestLeavesEarlierDrawsAlone) {
    const std::string code = "(function(f) f.SetCam(2) f.Quad() f.Blend(1) f.Text('  some  ') f.Blend(-1) "
                             "f.Color(0, 1, 0, 1) f.Quad() f.Depth(1, 1) end)";
    glDepthFunc(GL_LESS);
    const std::vector<unsigned> plain = frame(code + "(plain)");
    glDepthFunc(GL_LESS);
    EXPECT_TRUE(plain == frame(code + "(_G)"));
}

TEST_F(DrawJoinTest, StackErrorsAreRaisedOnceAndTheFirstCounts) {
    const std::string push = "for _ = 1, 40 do Push() end ", pop = "for _ = 1, 40 do Pop() end ";
    const struct {
        std::string code;
        unsigned error;
    } cases[] = {{"Push() Pop()", GL_NO_ERROR},
                 {push, GL_STACK_OVERFLOW},
                 {"Move(1)", GL_NO_ERROR},
                 {pop + push, GL_STACK_UNDERFLOW},
                 {"Tex(0) Quad()", GL_NO_ERROR},
                 {"Pop()", GL_NO_ERROR},
                 {"Shad(1) Shad(-1)", GL_INVALID_OPERATION},
                 {"Shad(0) Shad(-1)", GL_NO_ERROR}};
    for (const auto& c : cases) {
        run(c.code);
        EXPECT_EQ(c.error, glGetError()) << c.code;
        EXPECT_EQ(static_cast<unsigned>(GL_NO_ERROR), glGetError()) << c.code;
        GLint depth = 0;
        glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &depth);
        EXPECT_EQ(1, depth) << c.code;
    }
}

} // namespace

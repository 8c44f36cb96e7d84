// Games that begin anew in their window: what they have made in OpenGL is gone.
#include "restart.h"

#include "gl_files.h"
#include "luathingy.h"

#include <map>
#include <memory>

namespace {

const char* const kGame = R"(
function Init()
  AddTex("textures/brick.png") AddTex("textures/font.png") AddGeom("geom/sphere.obj") AddShad("shaders/plasma.shad")
  kept = newproxy(true)
  getmetatable(kept).__gc = function() Tex("brick") Text("from the end") Geom("sphere") BeginRTTFull() end
end
function Draw()
  SetCam(2) Tex("brick") Geom("sphere") Push() Scale(0.01) Tex("font") Text(("words"):rep(20)) Pop()
  Shad("plasma") Quad() Shad(-1)
  BeginRTTFull() Quad() Depth(0)
end)";

/// Names of OpenGL's objects that are alive, by what asks for them.
std::map<std::string, int> livingObjects() {
    std::map<std::string, int> living;
    for (const char* kind : {"glIsTexture", "glIsBuffer", "glIsProgram", "glIsShader", "glIsFramebufferEXT",
                             "glIsRenderbufferEXT"}) {
        PFNGLISPROGRAMPROC exists = nullptr;
        fetchGlFunction(exists, kind);
        for (unsigned name = 1; name < 2000; ++name)
            living[kind] += exists(name) ? 1 : 0;
    }
    return living;
}

class RestartTest : public GlFilesTest {};

} // namespace

// The framebuffer kept the render target's texture alive, 5 MB for each start of a game in a large window.
TEST_F(RestartTest, LeavesNothingInOpenGL) {
    std::filesystem::create_directory_symlink(TARN_SOURCE_DIR "/media", "media");
    write("scripts/game.lua", kGame);
    auto host = std::make_unique<LuaThingy>();
    host->width = host->height = 200;
    host->limitFps = false;
    host->SetLoadScript("game.lua");
    host->SetupStandardWindow();
    host->quad.Compile(); // is the engine's and stays
    KeepFirstState();
    const auto before = livingObjects();
    for (int start = 0; start < 2; ++start) {
        const std::string output = printed([&] {
            EXPECT_EQ(0, host->Init());
            for (int frame = 0; frame < 4; ++frame)
                EXPECT_EQ(0, host->TimeStep());
        });
        for (const auto& kind : livingObjects())
            EXPECT_LT(before.at(kind.first), kind.second) << kind.first << output;
        ForgetGame(*host);
        EXPECT_EQ(before, livingObjects());
        EXPECT_EQ(static_cast<unsigned>(GL_NO_ERROR), glGetError());
        GLint target = 1;
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &target);
        EXPECT_EQ(0, target);
    }
    printed([&] { host->Init(), host->TimeStep(), host->TimeStep(), host->TimeStep(); });
    host.reset();
    window().setActive(true);
    EXPECT_EQ(before.at("glIsProgram") + 1, livingObjects().at("glIsProgram")) << "the script's own";
}

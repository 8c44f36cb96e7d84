// The engine object: key rules, cameras, lights, command line.
#include "corethingy.h"

#include "gl_test.h"
#include "tarneuc.h"

#include <string>
#include <vector>

namespace {

/// Records the game keys that reach a script.
class RecordingEngine : public CoreThingy {
public:
    RecordingEngine() { input.keys.SetDefaults(); }
    void GameKeyHappen(int code, int state) override {
        seen += std::to_string(code) + ":" + std::to_string(state) + " ";
    }
    std::string seen;
};

class EngineTest : public GlTest {
protected:
    RecordingEngine engine;
};

struct Camera {
    int width, height, fit;
    float scaleX, scaleY; ///< extent in x and y for cam2DScale 2
};

class OrthoCamera : public EngineTest, public testing::WithParamInterface<Camera> {};

struct CommandLine {
    std::vector<const char*> words;
    int width, height;
    bool fullscreen, maxRes;
};

class Arguments : public EngineTest, public testing::WithParamInterface<CommandLine> {};

} // namespace

TEST_F(EngineTest, BoundKeysPassOnceUntilReleased) {
    engine.SetKeyBind(7, 0, false);
    for (bool down : {true, true, false, false})
        engine.KeyHappen(0, down);
    engine.KeyHappen(1, true); // unbound
    EXPECT_EQ("7:1 7:0 ", engine.seen);
    EXPECT_FALSE(engine.input.keys.keyDown[1]);
}

TEST_F(EngineTest, BindingReplacesOrKeepsOthers) {
    engine.SetKeyBind(7, 0, false);
    engine.SetKeyBind(7, 1, false);
    EXPECT_EQ(-1, engine.input.keys.bindings[0]);
    engine.SetKeyBind(7, 0, true);
    EXPECT_EQ(7, engine.input.keys.bindings[0]);
    EXPECT_EQ(7, engine.input.keys.bindings[1]);
    for (int outside : {-1, 108, 1 << 30}) {
        engine.SetKeyBind(7, outside, false);
        engine.KeyHappen(outside, true);
    }
    EXPECT_EQ(7, engine.input.keys.bindings[1]);
    EXPECT_EQ("", engine.seen);
}

TEST_F(EngineTest, OnlyTheFirstHeldKeyRepeatsAndTheWheelNeverDoes) {
    for (int key : {0, 1, 106})
        engine.SetKeyBind(key, key, false);
    engine.KeyHappen(106, true);
    engine.KeyHappen(106, true);
    EXPECT_EQ("106:1 106:1 ", engine.seen) << "every notch is a fresh press";
    EXPECT_EQ(-1, engine.repeatKey);
    engine.clockTime = 5;
    engine.KeyHappen(0, true);
    engine.KeyHappen(1, true);
    EXPECT_EQ(0, engine.repeatKey);
    EXPECT_FLOAT_EQ(5.4f, engine.nextRepeatTime);
    engine.KeyHappen(1, false);
    EXPECT_EQ(0, engine.repeatKey);
    engine.KeyHappen(0, false);
    EXPECT_EQ(-1, engine.repeatKey);
}

TEST_F(EngineTest, TypingModePassesRawCodes) {
    engine.SetKeyBind(7, 3, false);
    engine.KeyHappen(3, true);
    engine.SetTypingMode(1);
    engine.KeyHappen(3, false);
    EXPECT_EQ("7:1 3:0 ", engine.seen);
}

TEST_P(OrthoCamera, SpansTheExpectedExtent) {
    const Camera& camera = GetParam();
    engine.width = camera.width;
    engine.height = camera.height;
    engine.Set2DCamScale(2);
    engine.InitCamera(2, camera.fit);
    float projection[16];
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    EXPECT_NEAR(1.0f / camera.scaleX, projection[0], 1e-4f);
    EXPECT_NEAR(1.0f / camera.scaleY, projection[5], 1e-4f);
    EXPECT_NEAR(-0.01f, projection[10], 1e-6f);
    EXPECT_NEAR(camera.scaleX / 2, engine.orthoScaleX, 1e-3f);
    EXPECT_NEAR(camera.scaleY / 2, engine.orthoScaleY, 1e-3f);
}

INSTANTIATE_TEST_SUITE_P(Fits, OrthoCamera,
                         testing::Values(Camera{1600, 900, 0, 2, 2}, Camera{1600, 900, 1, 2, 1.125f},
                                         Camera{1600, 900, 2, 3.5556f, 2}, Camera{600, 800, 1, 1.5f, 2},
                                         Camera{600, 800, 2, 1.5f, 2}));

TEST_F(EngineTest, PerspectiveAndUnknownCameras) {
    float projection[16];
    engine.InitCamera(0, 0); // 90 degrees high, 1024 x 768
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    EXPECT_NEAR(1.0f, projection[5], 1e-5f);
    EXPECT_NEAR(0.75f, projection[0], 1e-5f);
    engine.InitCamera(2, 3);
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    EXPECT_EQ(1.0f, projection[0]);
    EXPECT_EQ(1.0f, projection[10]);
}

TEST_F(EngineTest, LookAtHasZUpwards) {
    LookAtV3(V3(0, 0, 0), V3(0, -10, 0));
    float view[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, view);
    // A point one unit up stands at (0, 1, -10) before the eye.
    EXPECT_NEAR(1.0f, view[9] + view[13], 1e-5f);
    EXPECT_NEAR(-10.0f, view[10] + view[14], 1e-5f);
}

TEST_F(EngineTest, OnlyTheFirstTwoLightsArePlaced) {
    for (int light : {1, 2, -1, -0x34B0}) // the last would name GL_LIGHTING
        engine.SetLight(light, 1, 2, 3);
    EXPECT_TRUE(glIsEnabled(GL_LIGHT1));
    EXPECT_FALSE(glIsEnabled(GL_LIGHT2));
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING));
    EXPECT_EQ(unsigned(GL_NO_ERROR), glGetError());
    glDisable(GL_LIGHT1);
}

TEST_F(EngineTest, SpaceMapperKindsAndReplacement) {
    engine.SetSpaceMapper(2);
    EXPECT_EQ(nullptr, engine.spaceMapper);
    engine.SetSpaceMapper(1);
    engine.SetSpaceMapper(1);
    auto* mapper = static_cast<SpaceMapperLines2D*>(engine.spaceMapper);
    EXPECT_EQ(4, mapper->cols);
    EXPECT_EQ(-10.0f, mapper->boundsMin[0]);
}

TEST_P(Arguments, SetWindowSizeAndMode) {
    const CommandLine& line = GetParam();
    engine.DeclareArgs(static_cast<int>(line.words.size()), const_cast<char**>(line.words.data()));
    engine.ParseArgs();
    EXPECT_EQ(line.width, engine.width);
    EXPECT_EQ(line.height, engine.height);
    EXPECT_EQ(line.fullscreen, engine.fullscreen);
    EXPECT_EQ(line.maxRes, engine.maxRes);
}

INSTANTIATE_TEST_SUITE_P(Lines, Arguments,
                         testing::Values(CommandLine{{"game", "-r", "640", "480"}, 640, 480, false, false},
                                         CommandLine{{"-f", "r", "640", "480"}, 640, 480, false, false},
                                         CommandLine{{"-r", "640", "480", "-f"}, 640, 480, true, false},
                                         CommandLine{{"-r", "max", "f"}, 1024, 768, true, true},
                                         CommandLine{{"f", "-r", "min"}, 700, 580, false, false},
                                         CommandLine{{"-r", "640"}, 1024, 768, false, false},
                                         CommandLine{{"-r", "64x", "480"}, 1024, 768, false, false},
                                         CommandLine{{"-R", "max", "-r"}, 1024, 768, false, false}));

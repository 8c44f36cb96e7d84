// Textures, render targets, captures and content lists, read back from a real context and from real files.
#include "materials.h"

#include "gl_files.h"
#include "materials_image.h"
#include "tnmath.h"

#include <SFML/Graphics/Image.hpp>
#include <vector>

namespace fs = std::filesystem;
using namespace std::string_literals;
const std::array<int, 3> BLACK = {0, 0, 0}, RED = {255, 0, 0}, GREEN = {0, 255, 0}, BLUE = {0, 0, 255};

class MaterialsTest : public GlFilesTest {
protected:
    /// An image whose upper half is red and whose lower half is blue.
    static void writeImage(const char* file, unsigned w, unsigned h) {
        sf::Image image;
        image.create(w, h, sf::Color::Red);
        for (unsigned i = w * (h / 2); i < w * h; i++)
            image.setPixel(i % w, i / w, sf::Color::Blue);
        write(file, "");
        ASSERT_TRUE(image.saveToFile(file));
    }
    static void fill(const std::array<int, 3>& colour) {
        glColor3f(float(colour[0]), float(colour[1]), float(colour[2]));
        glRectf(-1, -1, 1, 1);
        glColor3f(1, 1, 1);
    }
    /// Draws texture as a target of its own height, and gives the colours near the bottom and the top.
    static void expectDrawn(Texture& texture, std::array<int, 3> bottom, std::array<int, 3> top) {
        glEnable(GL_TEXTURE_2D);
        texture.DrawForScreen(texture.height);
        glDisable(GL_TEXTURE_2D);
        EXPECT_EQ(pixel(60, 10), bottom);
        EXPECT_EQ(pixel(60, 54), top);
    }
    static int levelWidth(Texture& texture, int level) {
        GLint value = -1;
        texture.Bind();
        glGetTexLevelParameteriv(GL_TEXTURE_2D, level, GL_TEXTURE_WIDTH, &value);
        return value;
    }
};

TEST_F(MaterialsTest, LoadsImagesWithMipmapsTopRowFirst) {
    writeImage("img/half.png", 16, 16);
    writeImage("img/odd.bmp", 3, 5);
    Texture texture;
    ASSERT_TRUE(texture.Load("img\\half.png", false));
    EXPECT_EQ(levelWidth(texture, 4), 1);
    expectDrawn(texture, RED, BLUE);
    unsigned first = texture.texId;
    EXPECT_FALSE(texture.Load("img/none.png", false));
    EXPECT_FALSE(texture.Load("img", false));
    EXPECT_EQ(texture.texId, first);
    texture.SetPath("img/odd.bmp");
    EXPECT_TRUE(texture.Load(nullptr, false));
    EXPECT_NE(texture.texId, first);
    EXPECT_EQ(texture.width * 10 + texture.height, 35);
    EXPECT_EQ(levelWidth(texture, 0), 4);
}

TEST_F(MaterialsTest, RendersIntoAFramebufferOfItsFirstSize) {
    Texture target;
    target.BeginRTT(32, 16, V4(0, 1, 0, 1));
    glEnable(GL_DEPTH_TEST);
    glRectf(-1, -1, 1, 0);
    glTranslatef(0, 0, 0.5f); // behind: the target has a depth buffer
    fill(RED);
    glLoadIdentity();
    glDisable(GL_DEPTH_TEST);
    target.EndRTT(nullptr);
    EXPECT_EQ(pixel(60, 54), BLACK) << "the window was drawn to";
    expectDrawn(target, {255, 255, 255}, RED);
    target.BeginRTT(20, 20, V4(0, 0, 1, 1));
    target.EndRTT(nullptr);
    target.BeginRTT(-1, -1, V4(0, 0, 1, 1));
    target.EndRTT(nullptr);
    EXPECT_EQ(target.width, 20);
    EXPECT_EQ(levelWidth(target, 0), 32);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
}

// Without a framebuffer the target is copied from the window, so scripts look the same on such a driver.
TEST(MaterialsDeathTest, WithoutEntryPointsTargetsUseTheWindowAndShadersAreOff) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a new process, in which no entry point was fetched
    auto run = [] {
        sf::Window window(sf::VideoMode(64, 64), "no entry points", sf::Style::None);
        Texture target;
        target.BeginRTT(64, 64, V4(0, 0, 1, 1));
        target.EndRTT(nullptr);
        glEnable(GL_TEXTURE_2D);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        target.DrawForScreen(64);
        unsigned char rgba[4] = {};
        glReadPixels(60, 60, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
        testing::internal::CaptureStdout();
        Shader shader;
        shader.Compile();
        shader.DeclareUniform(0, "time", 1, true);
        bool told = testing::internal::GetCapturedStdout() ==
                    "ERR: shaders not available\nErr -1: Uniform time not found!\n";
        std::_Exit(told && target.fbo == 0 && rgba[0] == 0 && rgba[2] == 255 && !glGetError() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST_F(MaterialsTest, CopiesTheScreenIntoPowersOfTwo) {
    Texture target;
    expectDrawn(target, BLACK, BLACK); // no size yet: nothing to draw, nothing to divide by
    const int steps[][4] = {{800, 600, 1024, 1024}, {512, 1024, 1024, 1024}, {400, 400, 512, 512},
                            {0, 600, 512, 512},     {513, 300, 1024, 512},   {64, 64, 64, 64}};
    for (auto [w, h, width, height] : steps) {
        target.FitToScreen(w, h);
        EXPECT_TRUE(target.width == width && target.height == height) << w << " x " << h;
    }
    fill(GREEN);
    target.EndRTTFull(true);
    EXPECT_EQ(pixel(60, 10), BLACK);
    expectDrawn(target, GREEN, GREEN);
}

TEST_F(MaterialsTest, CaptureWritesPaddedRowsBottomUp) {
    fill(GREEN);
    glEnable(GL_SCISSOR_TEST);
    glScissor(4, 0, 1, 1);
    fill(RED);
    glDisable(GL_SCISSOR_TEST);
    CaptureScreen(5, 3, ".");
    std::ifstream file("capture000.bmp", std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::string header("BM\x66\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\5\0\0\0\3\0\0\0\1\0\x18\0\0\0\0\0\x30\0\0\0",
                       38);
    std::string bottomRow("\0\xff\0\0\xff\0\0\xff\0\0\xff\0\0\0\xff", 15); // blue, green, red
    EXPECT_EQ(bytes.substr(0, 69), header + std::string(16, '\0') + bottomRow);
    EXPECT_EQ(bytes.substr(70, 15), "\0\xff\0\0\xff\0\0\xff\0\0\xff\0\0\xff\0"s);
    EXPECT_EQ(bytes.size(), 102u);
}

TEST_F(MaterialsTest, CaptureTakesTheNumberAboveTheHighest) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"capture000.bmp", "capture004.bmp", "capture002.bmp"}, "capture005.bmp"},
        {{"Capture007.bmp", "capture7", "xcapture009.bmp"}, "capture000.bmp"},
        {{"capture.txt"}, "capture553.bmp"},
        {{"captureABC.bmp"}, "capture1900.bmp"},
        {{"capture999.bmp", "capture1000.bmp", "capture1001.bmp"}, "capture1002.bmp"},
    };
    for (const auto& [files, expected] : cases) {
        fs::remove_all("shots");
        for (const char* file : files)
            write(fs::path("shots/sub") / file, "");
        EXPECT_EQ(printed([] { CaptureScreen(1, 1, "shots\\sub"); }),
                  std::string("Screenshot saved to: shots/sub/") + expected + "\n");
    }
    EXPECT_EQ(printed([] { CaptureScreen(1, 1, "nowhere"); }), "Error opening directory\n");
    EXPECT_EQ(printed([] { CaptureScreen(0, 5, "shots"); }), "");
}

TEST_F(MaterialsTest, PassEffectReadsChangedNeighboursAndLeavesPadding) {
    // Two columns, two rows of 8 bytes. The pixel above is in the other row, below right in its other column.
    unsigned char pixels[] = {252, 10, 255, 7, 8, 9, 99, 99, 1, 2, 3, 253, 254, 4, 99, 99};
    const std::vector<int> expected = {1, 11, 4, 8, 9, 10, 99, 99, 2, 4, 5, 2, 4, 6, 99, 99};
    Texture texture;
    texture.pixels = pixels;
    texture.width = texture.height = 2;
    TexPassEffect(&texture, 1);
    EXPECT_EQ(std::vector<int>(pixels, pixels + 16), expected);
}

TEST_F(MaterialsTest, ListsLoadOnceAndTryAgainAfterFailures) {
    TextureList textures;
    EXPECT_EQ(textures.FetchItem(300), nullptr);
    writeImage("data/textures/00300.jpg", 4, 4);
    void* loaded = textures.FetchItem(300);
    EXPECT_NE(loaded, nullptr);
    EXPECT_EQ(textures.FetchItem(300), loaded);
    EXPECT_EQ(textures.FetchItem(-2), nullptr);
    EXPECT_EQ(textures.FetchItem(65536), nullptr);
    ShaderList shaders;
    EXPECT_EQ(printed([&] { shaders.Bind(7); }), "SHADER DONT EXIST!!@\n");
    ASSERT_NE(shaders.current, nullptr);
    delete static_cast<Shader*>(shaders.current->item);
    delete shaders.current;
    delete static_cast<Texture*>(loaded);
    delete static_cast<ContentEntry*>(textures.subLists[1].Get(0));
}

// A header of 30 bytes can announce pixels for gigabytes: the library must not see such a file.
TEST_F(MaterialsTest, RefusesImagesThatAnnounceTooMuch) {
    const std::string corpus = TARN_SOURCE_DIR "/fuzz/corpus/image/";
    const struct {
        const char* file;
        long long width, height;
    } images[] = {{"a.png", 5, 3},   {"a.bmp", 5, 3},        {"a.jpg", 5, 3},         {"a.tga", 5, 3},
                  {"dot.gif", 2, 2}, {"dot.psd", 2, 1},      {"dot.pic", 1, 1},       {"pal.bmp", 2, 2},
                  {"dot.pgm", 2, 1}, {"dot.ppm", 1, 1},      {"comments.pgm", 2, 1},  {"dot.hdr", 2, 1},
                  {"empty", 0, 0},   {"wide.png", 70000, 1}, {"interlaced.png", 5, 3}};
    for (const auto& image : images) {
        DataBlock file;
        ASSERT_TRUE(file.ReadFile((corpus + image.file).c_str()));
        const ImageSize size = AnnouncedImageSize(file);
        EXPECT_FALSE(IsDamagedImage(file)) << image.file;
        EXPECT_EQ(std::make_pair(size.width, size.height), std::make_pair(image.width, image.height))
            << image.file;
    }
    for (const char* name : {"damaged.png", "cut.png", "bomb.png", "endless.png", "bad_tables.jpg"}) {
        DataBlock file;
        ASSERT_TRUE(file.ReadFile((corpus + name).c_str()));
        EXPECT_TRUE(IsDamagedImage(file)) << name;
    }
    EXPECT_TRUE(MayDecodeImage({16384, 8192, 128}, 1 << 20));
    EXPECT_FALSE(MayDecodeImage({16384, 8193, 128}, 1 << 20));
    EXPECT_FALSE(MayDecodeImage({16384, 8192, 4096}, 1000));
    Texture texture;
    const std::string huge = corpus + "huge.png";
    EXPECT_EQ(printed([&] { EXPECT_FALSE(texture.Load(huge.c_str(), false)); }),
              "Error: image " + huge + " is too large (60000 x 60000 in 68 bytes)\n");
}

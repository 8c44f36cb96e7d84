// The head-up display. It brings its own characters, made of lines, so it needs no media and leaves the
// script's texts alone.
#include "hud.h"

#include "apiprobe.h"
#include "drawjoin.h"
#include "geometry.h"
#include "lua_api.h"
#include "opengl.h"
#include "player.h"
#include "shadering.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr int kFrames = 120;    // in the graph
constexpr int kTextFrames = 15; // for which a number stands still
constexpr float kAdvance = 3;   // of a character, in units of its grid
constexpr float kLine = 6.5f;   // of a text line, likewise
constexpr float kMargin = 4;
constexpr float kGraph = 20;       // height of the graph, likewise
constexpr double kTall = 1.0 / 30; // seconds that fill the graph
constexpr double kTarget = 1.0 / 60;
constexpr int kUnitPixels = 300; // of the window's height for each pixel of the unit
constexpr int kLeastUnit = 2;    // strokes a pixel apart run together
constexpr int kLargestUnit = 4;

// Characters as strokes between the points of a grid, lettered a to o in five rows of three.
struct Glyph {
    char character;
    const char* strokes; // each from point to point; blanks separate them
};

constexpr Glyph kGlyphs[] = {{'0', "acoma"},       {'1', "bn"},     {'2', "acigmo"},  {'3', "acom gi"},
                             {'4', "agi co"},      {'5', "cagiom"}, {'6', "camoig"},  {'7', "aco"},
                             {'8', "acoma gi"},    {'9', "igacom"}, {'.', "kn"},      {'A', "mdbfo gi"},
                             {'B', "abfhlnma gh"}, {'C', "camo"},   {'D', "abflnma"}, {'E', "camo gh"},
                             {'F', "cam gh"},      {'I', "bn"},     {'K', "am cgo"},  {'L', "amo"},
                             {'M', "maeco"},       {'R', "macigo"}, {'S', "cagiom"},  {'U', "amoc"},
                             {'W', "amkoc"},       {'P', "macig"}};

const char* strokesOf(char character) {
    for (const Glyph& glyph : kGlyphs)
        if (glyph.character == character)
            return glyph.strokes;
    return "";
}

// What one frame has cost.
struct Cost {
    double frame = 0; // seconds from its beginning to the next one's
    double draw = 0;  // seconds of the script's Draw
};

// Vertices in pixels from the upper left corner.
class Lines {
public:
    void Clear() { points.clear(); }
    void Add(float x1, float y1, float x2, float y2) { points.insert(points.end(), {x1, y1, x2, y2}); }
    void AddText(const char* text, float x, float y, float unit) {
        for (; *text; ++text, x += kAdvance * unit)
            privAddGlyph(strokesOf(*text), x, y, unit);
    }
    void Draw() const {
        glBegin(GL_LINES);
        for (std::size_t i = 0; i + 1 < points.size(); i += 2)
            glVertex2f(points[i], points[i + 1]);
        glEnd();
    }

private:
    void privAddGlyph(const char* strokes, float x, float y, float unit) {
        for (; strokes[0] && strokes[1]; ++strokes) {
            if (strokes[0] == ' ' || strokes[1] == ' ')
                continue;
            const int from = strokes[0] - 'a', to = strokes[1] - 'a';
            Add(x + unit * static_cast<float>(from % 3), y + unit * static_cast<float>(from / 3),
                x + unit * static_cast<float>(to % 3), y + unit * static_cast<float>(to / 3));
        }
    }

    std::vector<float> points;
};

void drawBox(float left, float top, float right, float bottom) {
    glBegin(GL_QUADS);
    glVertex2f(left, top);
    glVertex2f(right, top);
    glVertex2f(right, bottom);
    glVertex2f(left, bottom);
    glEnd();
}

// While one lives, OpenGL draws plain shapes in pixels of the window; afterwards it is as before.
class PlainDrawing {
public:
    explicit PlainDrawing(const Player& player) {
        const int width = player.GetScreenWidth(), height = player.GetScreenHeight();
        drawJoin.Sync();
        glGetIntegerv(GL_CURRENT_PROGRAM, &program);
        glGetIntegerv(GL_FRAMEBUFFER_BINDING_EXT, &target);
        if (program)
            glUseProgramObjectARB_PTR(0);
        if (target)
            glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, 0);
        glPushAttrib(GL_ALL_ATTRIB_BITS);
        for (const unsigned mode : {GL_PROJECTION, GL_MODELVIEW}) {
            glMatrixMode(mode);
            glPushMatrix();
            glLoadIdentity();
        }
        glMatrixMode(GL_PROJECTION);
        glOrtho(0, width, height, 0, -1, 1);
        glViewport(0, 0, width, height);
        for (const unsigned capability : {GL_TEXTURE_2D, GL_DEPTH_TEST, GL_LIGHTING, GL_CULL_FACE, GL_FOG,
                                          GL_COLOR_LOGIC_OP, GL_SCISSOR_TEST, GL_ALPHA_TEST, GL_STENCIL_TEST,
                                          GL_LINE_SMOOTH, GL_POLYGON_SMOOTH, GL_LINE_STIPPLE})
            glDisable(capability);
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glColorMask(1, 1, 1, 1);
    }
    ~PlainDrawing() {
        for (const unsigned mode : {GL_MODELVIEW, GL_PROJECTION}) {
            glMatrixMode(mode);
            glPopMatrix();
        }
        glPopAttrib();
        if (target)
            glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, static_cast<unsigned>(target));
        if (program)
            glUseProgramObjectARB_PTR(static_cast<unsigned>(program));
        drawJoin.Adopt();
    }
    PlainDrawing(const PlainDrawing&) = delete;
    PlainDrawing& operator=(const PlainDrawing&) = delete;

private:
    int program = 0;
    int target = 0;
};

class Hud : public Feature {
public:
    void StateReady(Player& player) override {
        apiProbe.Install(player.luaState);
        callsAtStart = 0; // a game that starts anew is counted anew
    }
    void FrameBegins(Player&) override {
        const std::int64_t now = SteadyNow();
        current.frame = frameBegan ? static_cast<double>(now - frameBegan) / 1e9 : 0;
        frameBegan = now;
        callsAtStart = apiProbe.Calls();
    }
    void DrawBegins(Player&) override {
        drawBegan = SteadyNow();
        drawsAtStart = drawCalls;
    }
    void DrawEnded(Player& player) override {
        drawJoin.Sync(); // what is pending counts
        current.draw = static_cast<double>(SteadyNow() - drawBegan) / 1e9;
        if (player.options.fixedClock)
            current = {kTarget, 0};
        costs[static_cast<std::size_t>(frames % kFrames)] = current;
        if (frames++ % kTextFrames == 0)
            privWrite(player);
        const unsigned long before = drawCalls;
        privDraw(player);
        drawCalls = before; // its own are not the script's
    }

private:
    using Text = std::array<char, 32>;

    void privWrite(const Player& player) {
        const int count = std::min(frames, kTextFrames);
        Cost mean;
        for (int i = 0; i < count; ++i) {
            const Cost& cost = costs[static_cast<std::size_t>((frames - 1 - i) % kFrames)];
            mean.frame += cost.frame / count;
            mean.draw += cost.draw / count;
        }
        const int memory = player.luaState ? lua_gc(player.luaState, LUA_GCCOUNT, 0) : 0;
        snprintf(texts[0].data(), sizeof(Text), "FRAME %.1f MS", mean.frame * 1e3);
        snprintf(texts[1].data(), sizeof(Text), "DRAW %.1f MS", mean.draw * 1e3);
        snprintf(texts[2].data(), sizeof(Text), "CALLS %lu", apiProbe.Calls() - callsAtStart);
        snprintf(texts[3].data(), sizeof(Text), "DRAWS %lu", drawCalls - drawsAtStart);
        snprintf(texts[4].data(), sizeof(Text), "LUA %i KB", memory);
    }

    void privDraw(const Player& player) {
        const PlainDrawing plain(player);
        const auto unit = static_cast<float>(
            std::clamp(player.GetScreenHeight() / kUnitPixels + 1, kLeastUnit, kLargestUnit));
        const float left = kMargin * unit + 0.5f;
        const float graphTop = left + kLine * unit * static_cast<float>(texts.size());
        const float graphBottom = graphTop + kGraph * unit;
        glColor4f(0, 0, 0, 0.65f);
        drawBox(0, 0, left + kFrames + kMargin * unit, graphBottom + kMargin * unit);
        privDrawGraph(left, graphBottom, unit);
        lines.Clear();
        for (std::size_t i = 0; i < texts.size(); ++i)
            lines.AddText(texts[i].data(), left, left + kLine * unit * static_cast<float>(i), unit);
        glLineWidth(1);
        glColor4f(1, 1, 1, 1);
        lines.Draw();
    }

    // A pixel for each frame, the newest at the right: the frame's time, over it that of Draw; the line is
    // at 1/60 s.
    void privDrawGraph(float left, float bottom, float unit) {
        for (const bool drawTime : {false, true}) {
            lines.Clear();
            for (int i = 0; i < std::min(frames, kFrames); ++i) {
                const Cost& cost = costs[static_cast<std::size_t>((frames - 1 - i) % kFrames)];
                const double share = std::min(1.0, (drawTime ? cost.draw : cost.frame) / kTall);
                const float x = left + static_cast<float>(kFrames - 1 - i);
                lines.Add(x, bottom, x, bottom - static_cast<float>(share) * kGraph * unit);
            }
            glColor4f(drawTime ? 1.0f : 0.3f, drawTime ? 0.7f : 0.6f, drawTime ? 0.2f : 1.0f, 0.8f);
            lines.Draw();
        }
        const float target = bottom - static_cast<float>(kTarget / kTall) * kGraph * unit;
        lines.Clear();
        lines.Add(left, target, left + kFrames, target);
        glColor4f(1, 1, 1, 0.4f);
        lines.Draw();
    }

    std::array<Cost, kFrames> costs{};
    std::array<Text, 5> texts{};
    Cost current;
    Lines lines;
    std::int64_t frameBegan = 0, drawBegan = 0; // ns on the steady clock
    unsigned long callsAtStart = 0, drawsAtStart = 0;
    int frames = 0; // drawn
};

} // namespace

std::unique_ptr<Feature> MakeHud() {
    return std::make_unique<Hud>();
}

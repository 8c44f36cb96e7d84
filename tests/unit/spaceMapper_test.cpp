// The space mapper against worked cases, against an independent model, and on what is not a world at all.
#include "spaceMapper.h"

#include "avx2.h"

#ifdef TARN_PORTABLE_CORE
#include <gtest/gtest.h>
#else
#include "gl_test.h"
#endif

#include <cmath>
#include <limits>
#include <random>

namespace {

const float nan = std::numeric_limits<float>::quiet_NaN(), huge = 3e38f;

struct V {
    float x, y;
};

struct World {
    SpaceMapperLines2D mapper;
    explicit World(int side, float step = 1.0f) {
        const float low[] = {-10, -10}, high[] = {10, 10};
        mapper.SetSpaceBounds(low, high, side, side);
        mapper.SetTime(0, step);
    }
    SpMapLine2D add(float x1, float y1, float x2, float y2) {
        SpMapLine2D wall{{x1, y1}, {x2, y2}, {}, -1};
        mapper.AddSpaceObject("line2d", &wall);
        return wall;
    }
};

struct Outcome {
    V contact{}, result{}, velocity{};
    int hits;
    Outcome(World& world, V from, V motion, float radius, bool asLine = false)
        : hits(world.mapper.MapPoint(&from.x, &motion.x, radius, &contact.x, &result.x, &velocity.x,
                                     asLine)) {}
};

void expectNear(V want, V seen) { // contacts keep a millionth off walls, which must show
    EXPECT_NEAR(want.x, seen.x, 8e-7 * std::max(1.0f, std::fabs(want.x)));
    EXPECT_NEAR(want.y, seen.y, 8e-7 * std::max(1.0f, std::fabs(want.y)));
}

// Sphere tracing in doubles: goes forward by the distance to the nearest wall until that is nothing.
struct Touch {
    double t = 2, x = 0, y = 0, nx = 0, ny = 0; // t: share of the way, above 1 for no touch
    bool atEnd = false;
    bool hit() const { return t <= 1; }
};

Touch trace(const std::vector<SpMapLine2D>& walls, double x, double y, double dx, double dy, double radius) {
    const double length = std::hypot(dx, dy);
    for (double way = 0, nearest = 1e9; way <= length; way += nearest - radius, nearest = 1e9) {
        Touch touch{way / length, x + dx * way / length, y + dy * way / length};
        for (const SpMapLine2D& w : walls) {
            const double wx = w.p2[0] - w.p1[0], wy = w.p2[1] - w.p1[1];
            const double px = touch.x - w.p1[0], py = touch.y - w.p1[1];
            const double s = (px * wx + py * wy) / (wx * wx + wy * wy),
                         foot = std::min(1.0, std::max(0.0, s));
            const double ox = px - foot * wx, oy = py - foot * wy, distance = std::hypot(ox, oy);
            if (distance < nearest)
                touch.nx = ox / distance, touch.ny = oy / distance, touch.atEnd = foot != s;
            nearest = std::min(nearest, distance);
        }
        if (nearest - radius < 1e-6)
            return touch;
    }
    return Touch{};
}

// First touches in random worlds. Passed over are motions that graze (shifted aside by 1e-3 they fare
// differently) and, in a grid of several cells, touches at ends, of which not every one is seen there. Where
// a wall's side meets the circle around its end, rounding may pick either: the tolerance of the bounce.
TEST(SpaceMapper, FindsTheFirstTouchOfAnIndependentModel) {
    std::mt19937 random(7);
    const auto coordinate = [&] { return random() % 20000 / 1000.0f - 10; };
    int touches = 0;
    for (int i = 0; i < 4000; ++i) {
        const int side = i % 2 ? 1 : 20;
        const float radius = i % 4 < 2 ? 0.0f : 0.8f;
        World world(side);
        std::vector<SpMapLine2D> walls;
        for (int k = 0; k < 8; ++k)
            walls.push_back(world.add(coordinate(), coordinate(), coordinate(), coordinate()));
        const V a{coordinate(), coordinate()}, b{coordinate(), coordinate()};
        const double dx = b.x - a.x, dy = b.y - a.y, length = std::hypot(dx, dy);
        const double sx = -dy / length * 1e-3, sy = dx / length * 1e-3;
        const Touch model = trace(walls, a.x, a.y, dx, dy, radius);
        const Touch left = trace(walls, a.x + sx, a.y + sy, dx, dy, radius);
        const Touch right = trace(walls, a.x - sx, a.y - sy, dx, dy, radius);
        const bool grazes = left.hit() != model.hit() || right.hit() != model.hit() ||
                            std::fabs(left.t - right.t) * length > 0.02 || left.t < 0.01;
        if (grazes || (side > 1 && radius > 0 && model.atEnd))
            continue;
        const Outcome seen(world, a, b, radius, true);
        ASSERT_EQ(model.hit(), seen.hits == 1) << "case " << i;
        if (!model.hit())
            continue;
        touches++;
        const double rest = 1 - model.t, into = 2 * (dx * model.nx + dy * model.ny);
        ASSERT_NEAR(0, std::hypot(seen.contact.x - model.x, seen.contact.y - model.y), 2e-3) << "case " << i;
        ASSERT_NEAR(model.x + rest * (dx - into * model.nx), seen.result.x, 0.15) << "case " << i;
        ASSERT_NEAR(model.y + rest * (dy - into * model.ny), seen.result.y, 0.15) << "case " << i;
    }
    EXPECT_GT(touches, 2000);
}

// One wall from (-5, 0) to (5, 0).
const struct Case {
    const char* name;
    V from, motion;
    float step, radius;
    bool asLine;
    int hits;
    V contact, result, velocity;
} cases[] = {
    {"straight on", {0, 2}, {0, -4}, 1, 0.5f, false, 1, {0, 0.500001f}, {0, 3.000001f}, {0, 4}},
    {"free", {0, 2}, {3, 4}, 0.5f, 0.5f, false, 0, {1.5f, 4}, {1.5f, 4}, {3, 4}},
    {"on the wall's end", {8, 0}, {-8, 0}, 0.5f, 0.5f, false, 1, {5.5f, 0}, {7, 0}, {8, 0}},
    {"round the end", {5.3f, 1.4f}, {0, -2}, 1, 0.5f, false, 1, {5.3f, 0.4f}, {6.26f, 0.68f}, {1.92f, 0.56f}},
    {"out of a post",
     {5.2f, 0.3f},
     {1, 0},
     1,
     0.5f,
     false,
     1,
     {5.4f, 0.3f},
     {5.176f, -0.468f},
     {-0.28f, -0.96f}},
    {"points feel no ends", {5.3f, 1.4f}, {0, -2}, 1, 0, false, 0, {5.3f, -0.6f}, {5.3f, -0.6f}, {0, -2}},
    {"up to the band", {0, 2}, {0, -1.5f}, 1, 0.5f, false, 1, {0, 0.500001f}, {0, 0.500001f}, {0, 1.5f}},
    {"inside the band", {0, 0.4f}, {0, -0.2f}, 1, 0.5f, false, 1, {0, 0.500001f}, {0, 0.600001f}, {0, 0.2f}},
    {"segment", {0, 2}, {0, -2}, 9, 0, true, 1, {0, 1e-6f}, {0, 2.000001f}, {0, 4}},
    {"segment from the wall", {0, 5e-6f}, {0, -1}, 1, 0, true, 0, {0, -1}, {0, -1}, {0, -1}},
    {"outside the bounds", {-3, 30}, {0, -60}, 1, 0, false, 1, {-3, 1e-6f}, {-3, 30}, {0, 60}},
};

TEST(SpaceMapper, OneWall) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        World world(4, c.step);
        world.add(-5, 0, 5, 0);
        const Outcome seen(world, c.from, c.motion, c.radius, c.asLine);
        EXPECT_EQ(c.hits, seen.hits);
        expectNear(c.contact, seen.contact);
        expectNear(c.result, seen.result);
        expectNear(c.velocity, seen.velocity);
    }
}

TEST(SpaceMapper, SixHundredStepsInACrookedRoomEndWhereTheyAlwaysDid) {
    World world(5, 1.0f / 60);
    const V corners[] = {{-8, -7}, {8, -8}, {7, 8}, {-1, 3}, {-7, 8}, {-8, -7}};
    for (const V* c = corners; c < corners + 5; ++c)
        world.add(c[0].x, c[0].y, c[1].x, c[1].y);
    V at{0, -3}, velocity{33, 21};
    int hits = 0;
    for (int i = 0; i < 600; ++i) {
        const Outcome seen(world, at, velocity, 0.5f);
        hits += seen.hits;
        at = seen.result;
        velocity = seen.velocity;
    }
    char end[100];
    snprintf(end, sizeof(end), "%d %.9g %.9g %.9g %.9g", hits, at.x, at.y, velocity.x, velocity.y);
    EXPECT_STREQ("46 4.48627996 5.47985029 25.5685844 -29.601511", end);
}

// The vector form against the plain form, which tests cell by cell: walls of all lengths that touch, cross,
// tie, end on the borders of cells, lie along motions or are no walls, one of them added to a cell by hand.
TEST(SpaceMapper, EveryFormGivesTheSameBitsAndLines) {
    std::mt19937 random(11);
    const auto number = [&](bool onGrid) {
        const float fine = random() % 20000 / 1000.0f - 10;
        const float rough[] = {nan, HUGE_VALF, huge, -1e9f, 1e-20f, 12};
        return random() % 90 == 0 ? rough[random() % 6] : onGrid ? std::round(fine * 4) / 4 : fine;
    };
    for (int round = 0; round < 150; ++round) {
        testing::internal::CaptureStdout(); // walls that leave the bounds are reported
        World world(1 + random() % 12, 0.5f);
        const auto point = [&] { return V{number(round % 2), number(round % 2)}; };
        const auto next = [&](V a) { // near it, or anywhere
            return random() % 2 ? point()
                                : V{a.x + random() % 5 * 0.5f - 1, a.y + random() % 3 * 0.5f - 0.5f};
        };
        for (int walls = round % 4 ? 30 : 300; walls > 0; --walls) {
            const V a = point(), b = next(a);
            world.add(a.x, a.y, b.x, b.y);
        }
        SpMapLine2D byHand{{1, 2}, {3, 4}, {number(false), number(false)}, -7};
        testing::internal::GetCapturedStdout();
        for (int part = 0; part < 2; ++part, AddLineToSeg(world.mapper.GetSegFromPoint(1, 2), &byHand)) {
            std::string seen[2];
            const std::mt19937 start = random;
            for (const bool fast : {false, true}) {
                avx2InUse = fast && hasAvx2();
                random = start;
                testing::internal::CaptureStdout();
                for (int i = 0; i < 100; ++i) {
                    const V a = point(), b = next(a);
                    const float radius = random() % 3 ? 0.4f : random() % 8 ? 0 : number(false);
                    const Outcome outcome(world, a, i % 2 ? b : V{b.x - a.x, b.y - a.y}, radius, i % 2);
                    seen[fast].append(reinterpret_cast<const char*>(&outcome), sizeof(outcome));
                }
                seen[fast] += testing::internal::GetCapturedStdout();
            }
            ASSERT_EQ(seen[0], seen[1]) << round;
        }
    }
}

TEST(SpaceMapper, EndsWithinAHundredthMerge) {
    std::mt19937 random(3);
    SpaceSeg cell;
    std::vector<V> kept;
    for (int i = 0; i < 3000; ++i) {
        V end{random() % 200 / 333.0f - 0.3f, random() % 200 / 333.0f - 0.3f};
        AddEndPointToSeg(&cell, &end.x);
        const auto merges = [&](V k) { return std::hypot(k.x - end.x, k.y - end.y) <= 0.01f; };
        if (std::none_of(kept.begin(), kept.end(), merges))
            kept.push_back(end);
        ASSERT_EQ(static_cast<int>(kept.size()), cell.endPointCount);
    }
}

TEST(SpaceMapper, PrintsWhatGoesWrong) {
    World world(4);
    world.add(-5, 0, 5, 0);
    world.add(-5, 1, 5, 1);
    testing::internal::CaptureStdout();
    const Outcome trapped(world, {0, 0.5f}, {1, -100}, 0.25f), along(world, {1, 0}, {1, 0}, 0);
    world.add(-20, -20, 20, -15);
    const float numbers[] = {1, 2.5f, -3, 2.5f};
    world.mapper.SetSpaceBounds(numbers, numbers + 2, 5, 6);
    fa_print(3, numbers);
    fa_print(5, numbers);
    EXPECT_EQ("max\nWarning: colinear point collision!\nERR: LineSegIntersection Err\n"
              "ERR: no space grid of 5 x 6 cells from (1, 2.5) to (-3, 2.5)\n1.000000 2.500000 -3.000000 \n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(20, trapped.hits);
    expectNear(trapped.contact, trapped.result);
    expectNear({1, 0}, along.result);
    expectNear({0, 0}, along.velocity);
}

TEST(SpaceMapper, BadInputIsNoTouch) {
    World bare(0); // refused: there is no grid
    EXPECT_EQ(-1, bare.add(-5, 0, 5, 0).id);
    expectNear({3, -2}, Outcome(bare, {1, 1}, {2, -3}, 1).result);
    World world(4);
    EXPECT_EQ(-1, world.add(nan, 0, 5, 0).id);
    EXPECT_EQ(0, world.add(1, 1, 1, 1).normal[0]);
    EXPECT_EQ(0, Outcome(world, {0, 1}, {3, 0}, 0).hits); // a wall without length
    world.mapper.Reset(true);
    EXPECT_EQ(0, world.add(-5, 0, 5, 0).id);
    for (float bad : {nan, huge, -huge, HUGE_VALF}) {
        const Outcome seen(world, {2, 3}, {bad, bad}, 1), whole(world, {bad, 1}, {0, 0}, bad, true);
        EXPECT_TRUE(std::isfinite(seen.contact.x) && std::isfinite(seen.result.x)) << bad;
    }
}

#ifndef TARN_PORTABLE_CORE
TEST_F(GlTest, SpaceMapperDrawsFourEdgesOfEachCellAndEachWallRecord) {
    World world(2);
    world.add(-0.5f, 0.5f, 0.5f, 0.5f);
    float feedback[1000] = {};
    glFeedbackBuffer(1000, GL_2D, feedback);
    glRenderMode(GL_FEEDBACK);
    world.mapper.DebugDrawSegments();
    // A line is its token and two points; the outer edges lie outside the view and are clipped away.
    EXPECT_EQ((8 + 2) * 5, glRenderMode(GL_RENDER));
    EXPECT_EQ(48, feedback[49]); // the wall's end
}
#endif

} // namespace

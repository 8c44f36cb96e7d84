// packages: libbenchmark-dev chipmunk-dev libbox2d-dev
// links: chipmunk box2d
// args: --benchmark_enable_random_interleaving=true --benchmark_repetitions=5 --benchmark_min_time=0.2
//
// The first of 1,000 and of 10,000 walls on the way of a ray and of a disc, in short steps (of something that
// moves) and long motions (of a shot). The walls are 1 to 4 units long, ten to 100 square units, anywhere.
// Each side has the grid that suits it best of those that were tried. Chipmunk gets its discs as rays against
// walls as thick as the disc: its trees do not look for what only the side of a thick ray touches, so that
// touches would be missed. Box2D's tree is asked with and without its world around it.
//
// Before the timed rounds the answers are compared. At most 2 in 100 differ, the long motions of discs: by
// its rules the engine passes over a wall end whose number within its cell is that of an end touched farther
// on (with one cell for the whole world these are gone), and Chipmunk passes over some round ends of walls
// whose sides are touched, too. For the rest, 3 in 1,000, rounding decides: motions that graze or begin at a
// wall.
#include "spaceMapper.h"

#include <benchmark/benchmark.h>
#include <box2d/box2d.h>
#include <chipmunk/chipmunk.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

const size_t motionCount = 4096;
const float wallsPerArea = 0.1f;
const float discRadius = 0.25f;
const float shortStep = 0.5f, longMotion = 20.0f;
const float tarnCell = 4.0f, hashCell = 2.0f; // of 1.5 to 8 and of 1.5 to 6
const int hashCellsPerWall = 10;
const float tolerance = 0.01f;      // units between two answers
const float differingShare = 0.03f; // of the answers, at most

struct Point {
    float x, y;
};

struct Segment {
    Point from, to;
};

/// Walls, and motions that begin clear of them.
struct Scene {
    float side; // of the square world
    float radius;
    std::vector<Segment> walls, motions;

    Scene(size_t wallCount, float radiusOfDisc, float motionLength);

private:
    std::mt19937 random{7};
    float number(float low, float high) { return std::uniform_real_distribution<float>(low, high)(random); }
    Segment anywhere(float length);
    bool isInside(Point p) const { return std::fmin(p.x, p.y) > 0.0f && std::fmax(p.x, p.y) < side; }
    bool isClear(Point p) const;
};

Scene::Scene(size_t wallCount, float radiusOfDisc, float motionLength)
    : side(std::sqrt(static_cast<float>(wallCount) / wallsPerArea)), radius(radiusOfDisc) {
    while (walls.size() < wallCount) {
        const Segment wall = anywhere(number(1.0f, 4.0f));
        if (isInside(wall.to))
            walls.push_back(wall);
    }
    while (motions.size() < motionCount) {
        const Segment motion = anywhere(motionLength);
        if (isClear(motion.from))
            motions.push_back(motion);
    }
}

Segment Scene::anywhere(float length) {
    const float angle = number(0.0f, 6.2831853f);
    const Point from{number(0.0f, side), number(0.0f, side)};
    return {from, {from.x + length * std::cos(angle), from.y + length * std::sin(angle)}};
}

bool Scene::isClear(Point p) const {
    for (const Segment& w : walls) {
        const float wx = w.to.x - w.from.x, wy = w.to.y - w.from.y, px = p.x - w.from.x, py = p.y - w.from.y;
        const float foot = std::fmin(std::fmax((px * wx + py * wy) / (wx * wx + wy * wy), 0.0f), 1.0f);
        if (std::hypot(px - foot * wx, py - foot * wy) < radius + 0.01f)
            return false;
    }
    return true;
}

/// One way to answer. Answers are shares of the motion, from 0 to 1; above 1 for no touch.
struct Side {
    virtual ~Side() = default;
    virtual float firstTouch(const Segment& motion) = 0;
};

struct Tarn final : Side {
    SpaceMapperLines2D mapper;
    const float radius;

    explicit Tarn(const Scene& scene) : radius(scene.radius) {
        const float low[] = {0, 0}, high[] = {scene.side, scene.side};
        const int count = static_cast<int>(scene.side / tarnCell);
        mapper.SetSpaceBounds(low, high, count, count);
        for (const Segment& w : scene.walls) {
            SpMapLine2D line{{w.from.x, w.from.y}, {w.to.x, w.to.y}, {}, 0};
            mapper.AddLine(&line);
        }
    }

    float firstTouch(const Segment& motion) override {
        float contact[2];
        if (mapper.MapLine(&motion.from.x, &motion.to.x, radius, contact, nullptr) == 0)
            return 2.0f;
        const float x = motion.to.x - motion.from.x, y = motion.to.y - motion.from.y;
        return ((contact[0] - motion.from.x) * x + (contact[1] - motion.from.y) * y) / (x * x + y * y);
    }
};

struct Chipmunk final : Side {
    cpSpace* const space = cpSpaceNew();
    std::vector<cpShape*> shapes;

    Chipmunk(const Scene& scene, bool byHash) {
        if (byHash)
            cpSpaceUseSpatialHash(space, hashCell, static_cast<int>(scene.walls.size()) * hashCellsPerWall);
        for (const Segment& w : scene.walls)
            shapes.push_back(
                cpSpaceAddShape(space, cpSegmentShapeNew(cpSpaceGetStaticBody(space), cpv(w.from.x, w.from.y),
                                                         cpv(w.to.x, w.to.y), scene.radius)));
    }
    Chipmunk(const Chipmunk&) = delete;
    Chipmunk& operator=(const Chipmunk&) = delete;
    ~Chipmunk() override {
        for (cpShape* shape : shapes) {
            cpSpaceRemoveShape(space, shape);
            cpShapeFree(shape);
        }
        cpSpaceFree(space);
    }

    float firstTouch(const Segment& motion) override {
        cpSegmentQueryInfo info;
        if (!cpSpaceSegmentQueryFirst(space, cpv(motion.from.x, motion.from.y), cpv(motion.to.x, motion.to.y),
                                      0, CP_SHAPE_FILTER_ALL, &info))
            return 2.0f;
        return static_cast<float>(info.alpha);
    }
};

b2Vec2 vec(Point p) {
    return b2Vec2(p.x, p.y);
}

struct Box2dWorld final : Side, b2RayCastCallback {
    b2World world{b2Vec2(0, 0)};
    float nearest = 2.0f;

    explicit Box2dWorld(const Scene& scene) {
        const b2BodyDef still;
        b2Body* const body = world.CreateBody(&still);
        for (const Segment& w : scene.walls) {
            b2EdgeShape edge;
            edge.SetTwoSided(vec(w.from), vec(w.to));
            body->CreateFixture(&edge, 0.0f);
        }
    }

    float ReportFixture(b2Fixture*, const b2Vec2&, const b2Vec2&, float share) override {
        return nearest = share;
    }

    float firstTouch(const Segment& motion) override {
        nearest = 2.0f;
        world.RayCast(this, vec(motion.from), vec(motion.to));
        return nearest;
    }
};

struct Box2dTree final : Side {
    b2DynamicTree tree;
    b2Transform still;
    std::vector<b2EdgeShape> edges;
    float nearest = 2.0f;

    explicit Box2dTree(const Scene& scene) : edges(scene.walls.size()) {
        still.SetIdentity();
        for (size_t i = 0; i < edges.size(); ++i) {
            edges[i].SetTwoSided(vec(scene.walls[i].from), vec(scene.walls[i].to));
            b2AABB box;
            edges[i].ComputeAABB(&box, still, 0);
            tree.CreateProxy(box, &edges[i]);
        }
    }

    float RayCastCallback(const b2RayCastInput& ray, int32 wall) {
        b2RayCastOutput touch;
        if (!static_cast<b2EdgeShape*>(tree.GetUserData(wall))->RayCast(&touch, ray, still, 0))
            return ray.maxFraction;
        return nearest = touch.fraction;
    }

    float firstTouch(const Segment& motion) override {
        nearest = 2.0f;
        tree.RayCast(this, {vec(motion.from), vec(motion.to), 1.0f});
        return nearest;
    }
};

void compare(const Scene& scene, Side& tarn, Side& peer, const std::string& name) {
    size_t differing = 0;
    for (const Segment& motion : scene.motions) {
        const float length = std::hypot(motion.to.x - motion.from.x, motion.to.y - motion.from.y);
        const float a = tarn.firstTouch(motion), b = peer.firstTouch(motion);
        differing += (a <= 1.0f) != (b <= 1.0f) || std::fabs(a - b) * length > tolerance;
    }
    const float share = static_cast<float>(differing) / static_cast<float>(scene.motions.size());
    fprintf(stderr, "%s: %zu of %zu answers differ\n", name.c_str(), differing, scene.motions.size());
    if (share <= differingShare)
        return;
    fprintf(stderr, "mapper_bench: wrong answers: too many differ\n");
    exit(1);
}

void measure(benchmark::State& state, const Scene& scene, Side& side) {
    size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(side.firstTouch(scene.motions[i++ % motionCount]));
    state.SetItemsProcessed(state.iterations());
}

/// Compares and registers all sides of a case.
void addCase(const std::string& name, size_t wallCount, float radius, float length) {
    const auto scene = std::make_shared<const Scene>(wallCount, radius, length);
    std::vector<std::pair<const char*, std::shared_ptr<Side>>> sides = {
        {"tarn", std::make_shared<Tarn>(*scene)},
        {"chipmunk hash", std::make_shared<Chipmunk>(*scene, true)},
        {"chipmunk tree", std::make_shared<Chipmunk>(*scene, false)}};
    if (radius == 0.0f) {
        sides.emplace_back("box2d world", std::make_shared<Box2dWorld>(*scene));
        sides.emplace_back("box2d tree", std::make_shared<Box2dTree>(*scene));
    }
    for (const auto& [sideName, side] : sides) {
        if (side != sides[0].second)
            compare(*scene, *sides[0].second, *side, name + sideName);
        const auto run = [scene, side = side](benchmark::State& state) { measure(state, *scene, *side); };
        benchmark::RegisterBenchmark((name + sideName).c_str(), run);
    }
}

} // namespace

int main(int argc, char** argv) {
    for (const size_t count : {1000, 10000}) {
        const std::string walls = " " + std::to_string(count) + "/";
        addCase("ray short" + walls, count, 0.0f, shortStep);
        addCase("ray long" + walls, count, 0.0f, longMotion);
        addCase("disc short" + walls, count, discRadius, shortStep);
        addCase("disc long" + walls, count, discRadius, longMotion);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}

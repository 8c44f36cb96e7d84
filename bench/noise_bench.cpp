// packages: libbenchmark-dev libglm-dev
//
// Simplex noise in three dimensions at random points, and at the points of a walk in small steps. The numbers
// of the two sides differ, as do their hashes; what is checked is that the engine's are those of its four
// corners, and that the peer's are noise.
#include "numericfuncs.h"

#include <benchmark/benchmark.h>
#include <glm/glm.hpp>
#include <glm/gtc/noise.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t kPoints = 4096;

using Points = std::vector<glm::vec3>;

Points randomPoints() {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> number(-100, 100);
    Points points(kPoints);
    for (glm::vec3& point : points)
        point = {number(random), number(random), number(random)};
    return points;
}

Points walk() {
    Points points(kPoints);
    for (size_t i = 0; i < points.size(); i++)
        points[i] = glm::vec3(0, 0, 2) + static_cast<float>(i) * glm::vec3(0.01f, 0.007f, 0.003f);
    return points;
}

void require(bool right, const char* what, const glm::vec3& at) {
    if (right)
        return;
    fprintf(stderr, "noise_bench: wrong answer: %s at %g, %g, %g\n", what, at.x, at.y, at.z);
    exit(1);
}

// The corners one by one, from the cell and the order of the axes that the call left behind.
float sumOfCorners(SimplexNoise noise) {
    const float* const way = noise.offset;
    int order[3] = {0, 1, 2};
    for (int first : {0, 1, 0}) {
        if (way[order[first]] < way[order[first + 1]])
            std::swap(order[first], order[first + 1]);
    }
    for (int& step : noise.corner)
        step = 0;
    float sum = noise.k(order[0]);
    sum += noise.k(order[1]);
    sum += noise.k(order[2]);
    return sum + noise.k(0);
}

void check(const Points& points) {
    SimplexNoise noise(0);
    float least = 0, most = 0;
    for (const glm::vec3& at : points) {
        require(noise.Noise(at.x, at.y, at.z) == sumOfCorners(noise), "not the sum of the corners", at);
        const float peer = glm::simplex(at);
        least = std::min(least, peer);
        most = std::max(most, peer);
    }
    require(least < -0.3f && least > -1.1f && most > 0.3f && most < 1.1f, "the peer's is no noise",
            points[0]);
}

template <typename Noise>
void measure(benchmark::State& state, const Points& points, Noise noise) {
    for (auto _ : state) {
        float sum = 0;
        for (const glm::vec3& at : points)
            sum += noise(at);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * points.size()));
}

void addRows(const std::string& name, const Points& points) {
    check(points);
    benchmark::RegisterBenchmark((name + "/tarn").c_str(), [points](benchmark::State& state) {
        SimplexNoise noise(0);
        measure(state, points, [&noise](const glm::vec3& at) { return noise.Noise(at.x, at.y, at.z); });
    });
    benchmark::RegisterBenchmark((name + "/glm").c_str(), [points](benchmark::State& state) {
        measure(state, points, [](const glm::vec3& at) { return glm::simplex(at); });
    });
}

} // namespace

int main(int argc, char** argv) {
    addRows("random points", randomPoints());
    addRows("a walk", walk());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}

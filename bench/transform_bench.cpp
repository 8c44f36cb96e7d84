// packages: libbenchmark-dev libglm-dev
// flags: -march=native
//
// Vertex records of 32 bytes (position, normal, texture coordinates) transformed in place, in meshes from one
// quad to more than any cache holds. GLM is compiled for this very processor, the engine is not: it chooses
// at run time. Bytes are those read and written. Before the timed rounds both sides' answers are compared.
#include "tnmath.h"

#include <benchmark/benchmark.h>
#include <glm/glm.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

// The engine goes without fused operations, the peer need not.
#ifdef __clang__
#pragma clang fp contract(fast)
#else
#pragma GCC optimize("fp-contract=fast")
#endif

namespace {

struct Vertex {
    glm::vec3 position, normal;
    glm::vec2 texCoord;
};
static_assert(sizeof(Vertex) == 32, "a vertex record");

using Mesh = std::vector<Vertex>;
using Transform = void (*)(Mesh& mesh, Matrix& matrix, const Matrix& texMatrix);

Mesh randomMesh(size_t count) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> number(-1, 1);
    const auto next = [&] { return number(random); };
    Mesh mesh(count);
    for (Vertex& v : mesh)
        v = {{next(), next(), next()}, {next(), next(), next()}, {next(), next()}};
    return mesh;
}

void byTarn(Mesh& mesh, Matrix& matrix, const Matrix& texMatrix) {
    matrix.TransformBuf(reinterpret_cast<unsigned char*>(mesh.data()), 0, static_cast<int>(mesh.size()),
                        sizeof(Vertex), &texMatrix);
}

// Of several ways to write it this one is the fastest here: with copies of the matrices, or with GLM's own
// vector types, the compiler makes less of the loop.
[[gnu::noinline]] void byGlm(Vertex* mesh, size_t count, const glm::mat4& m, const glm::mat4& t) {
    const glm::mat3 forNormals(m);
    for (size_t i = 0; i < count; i++) {
        mesh[i].position = glm::vec3(m * glm::vec4(mesh[i].position, 1.0f));
        mesh[i].normal = forNormals * mesh[i].normal;
        mesh[i].texCoord = glm::vec2(t * glm::vec4(mesh[i].texCoord, 0.0f, 1.0f));
    }
}

void byGlm(Mesh& mesh, Matrix& matrix, const Matrix& texMatrix) {
    glm::mat4 m, t;
    std::memcpy(&m, matrix.m, sizeof(m));
    std::memcpy(&t, texMatrix.m, sizeof(t));
    byGlm(mesh.data(), mesh.size(), m, t);
}

/// Rotations about the origin: however often they are applied, the numbers stay small.
struct Rotations {
    Matrix matrix, texMatrix;

    Rotations() {
        matrix.Rotate(1, 2, 3, 0.7f);
        texMatrix.Rotate(0, 0, 1, 0.3f);
    }
};

void check(size_t count) {
    Rotations by;
    by.matrix.Translate(4, 5, 6);
    by.texMatrix.Translate(7, 8, 9);
    Mesh tarn = randomMesh(count), glm = tarn;
    byTarn(tarn, by.matrix, by.texMatrix);
    byGlm(glm, by.matrix, by.texMatrix);
    const float* const a = &tarn[0].position.x;
    const float* const b = &glm[0].position.x;
    for (size_t i = 0; i < 8 * count; i++) {
        if (std::fabs(a[i] - b[i]) <= 1e-5f)
            continue;
        fprintf(stderr, "transform_bench: wrong answer: float %zu is %g and %g\n", i, a[i], b[i]);
        exit(1);
    }
}

void measure(benchmark::State& state, size_t count, Transform transform) {
    Rotations by;
    Mesh mesh = randomMesh(count);
    for (auto _ : state) {
        transform(mesh, by.matrix, by.texMatrix);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * count * 2 * sizeof(Vertex)));
}

} // namespace

int main(int argc, char** argv) {
    for (size_t count : {4, 36, 1000, 15000, 200000, 4000000}) {
        check(count);
        const std::string name = std::to_string(count) + " vertices/";
        benchmark::RegisterBenchmark((name + "tarn").c_str(), measure, count, byTarn);
        benchmark::RegisterBenchmark((name + "glm").c_str(), measure, count, Transform(byGlm));
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}

// links: tinyobjloader
// packages: libtinyobjloader-dev
// args: --benchmark_enable_random_interleaving=true --benchmark_repetitions=3 --benchmark_min_time=0.1
//
// OBJ text to triangles and quads of 8-float corners: this engine's reader beside tinyobjloader, on texts
// like real exports of 2 and 40 MB, from memory and from a file. Each round reads the text once on either
// side; the corners of both must be the same. "ratio" is that of the medians. "memory" is the peak of a fresh
// process that reads the file, less what it had before, as a multiple of the file's size, and "first_MB/s"
// its speed: that of the first reading, for which the system has to provide all the memory.
#include "geometry.h"

#include <tiny_obj_loader.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

void require(bool right, const char* what) {
    if (right)
        return;
    fprintf(stderr, "obj_bench: wrong answer: %s\n", what);
    exit(1);
}

// ---- the texts

/// Appends a patch of hilly ground as an exporter writes it: all attributes, then the faces. Every tenth cell
/// is two triangles, the others are quads; the three kinds of records are numbered differently, as along a
/// seam.
void appendObject(std::string& text, int number, int side, int base[3]) {
    char line[160];
    const auto add = [&](const char* format, auto... values) {
        text.append(line, static_cast<size_t>(snprintf(line, sizeof(line), format, values...)));
    };
    add("o Ground_%03d\n", number);
    for (int i = 0; i < side * side; ++i)
        add("v %.6f %.6f %.6f\n", (i % side) * 0.37 - 40, 7 * sin(i * 0.013), (i / side) * 0.29 - 25);
    for (int i = 0; i < side * side; ++i)
        add("vt %.6f %.6f\n", (i % side) / (side - 1.0), 1 - (i / side) / (side - 1.0));
    for (int i = 0; i < side * side; ++i)
        add("vn %.4f %.4f %.4f\n", cos(i * 0.7) * sin(i * 0.3), sin(i * 0.7) * sin(i * 0.3), cos(i * 0.3));
    text += "usemtl Grass\ns off\n";
    for (int cell = 0; cell < side * (side - 1) - 1; ++cell) {
        const int corners[4] = {cell + 1, cell + 2, cell + side + 2, cell + side + 1};
        const auto corner = [&](int which) {
            const int at = corners[which];
            add(" %d/%d/%d", base[0] + at, base[1] + side * side + 1 - at,
                base[2] + (at * 7 + 3) % (side * side) + 1);
        };
        const auto face = [&](std::initializer_list<int> which) {
            text += 'f';
            std::for_each(which.begin(), which.end(), corner);
            text += '\n';
        };
        if (cell % 10 != 0) {
            face({0, 1, 2, 3});
        } else {
            face({0, 1, 2});
            face({0, 2, 3});
        }
    }
    for (int kind = 0; kind < 3; ++kind)
        base[kind] += side * side;
}

std::string makeText(size_t bytes, int objects) {
    std::string text = "# exported mesh\nmtllib ground.mtl\n";
    int base[3] = {0, 0, 0};
    for (int i = 0; i < objects; ++i) {
        const double share = static_cast<double>(bytes - text.size()) / (objects - i);
        appendObject(text, i, static_cast<int>(sqrt(share / 163)), base);
    }
    return text;
}

// ---- the two sides

/// What a text holds: for each object its triangles and its quads.
using Meshes = std::deque<Geometry>;

void readMeshes(DataBlock& data, Meshes& meshes) {
    ObjCollectedVertData collected;
    int pos = 0;
    for (bool atEnd = false; !atEnd;)
        atEnd = meshes.emplace_back().LoadOBJFileSegment(&data, &pos, &collected, nullptr);
}

struct PeerMesh {
    std::vector<float> tris, quads;
};

void readPeer(std::istream& text, std::vector<PeerMesh>& meshes) {
    tinyobj::attrib_t attributes;
    std::vector<tinyobj::shape_t> shapes;
    std::vector<tinyobj::material_t> materials;
    std::string warning, error;
    tinyobj::LoadObj(&attributes, &shapes, &materials, &warning, &error, &text, nullptr, false, false);
    meshes.resize(shapes.size());
    for (size_t shape = 0; shape < shapes.size(); ++shape) {
        const tinyobj::mesh_t& mesh = shapes[shape].mesh;
        const size_t quads =
            static_cast<size_t>(std::count(mesh.num_face_vertices.begin(), mesh.num_face_vertices.end(), 4));
        meshes[shape].quads.reserve(quads * 32);
        meshes[shape].tris.reserve((mesh.num_face_vertices.size() - quads) * 24);
        const tinyobj::index_t* index = mesh.indices.data();
        for (const auto corners : mesh.num_face_vertices) {
            std::vector<float>& out = corners == 3 ? meshes[shape].tris : meshes[shape].quads;
            for (int i = 0; i < static_cast<int>(corners); ++i, ++index) {
                const float* position = &attributes.vertices[3 * static_cast<size_t>(index->vertex_index)];
                const float* normal = &attributes.normals[3 * static_cast<size_t>(index->normal_index)];
                const float* texCoord = &attributes.texcoords[2 * static_cast<size_t>(index->texcoord_index)];
                out.insert(out.end(), position, position + 3);
                out.insert(out.end(), normal, normal + 3);
                out.insert(out.end(), texCoord, texCoord + 2);
            }
        }
    }
}

// The peer sums up digits in its own way: its last bit may differ.
void requireSame(const FloatDataBlock& ours, const std::vector<float>& theirs) {
    require(ours.ValCount() == static_cast<int>(theirs.size()), "number of corners");
    const float* value = reinterpret_cast<const float*>(ours.Ptr());
    for (size_t i = 0; i < theirs.size(); ++i)
        require(std::abs(value[i] - theirs[i]) <= std::abs(theirs[i]) * 1.2e-7f, "corner data");
}

void requireSame(const Meshes& ours, const std::vector<PeerMesh>& theirs) {
    require(ours.size() == theirs.size(), "number of objects");
    for (size_t i = 0; i < ours.size(); ++i) {
        requireSame(ours[i].tris, theirs[i].tris);
        requireSame(ours[i].quads, theirs[i].quads);
    }
}

// ---- measuring

template <typename Work>
double secondsOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2),
                     times.end());
    return times[times.size() / 2];
}

/// The option with which the bench runs itself anew to read one file: a fresh process shows the peak memory.
const char* const kReadOnly = "--read-only=";

double peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

/// Reads the file at path and prints the peak memory that this took, as a multiple of the file's size, and
/// how long it took.
int readOnly(const char* path) {
    const std::string small = makeText(5000, 1); // brings in the program's own pages
    DataBlock block;
    block.Append(small.data(), static_cast<int>(small.size()));
    Meshes first;
    readMeshes(block, first);
    const double before = peakMemory();
    DataBlock file;
    Meshes meshes;
    const double seconds = secondsOf([&] {
        file.ReadFile(path);
        readMeshes(file, meshes);
    });
    printf("%f %f\n", (peakMemory() - before) / file.Len(), file.Len() / seconds / 1e6);
    return 0;
}

/// What readOnly prints for a file.
void runReadOnly(const std::string& path, double& memory, double& speed) {
    const std::string command = "/proc/" + std::to_string(getpid()) + "/exe " + kReadOnly + path;
    FILE* answer = popen(command.c_str(), "r");
    require(answer && fscanf(answer, "%lf %lf", &memory, &speed) == 2 && pclose(answer) == 0,
            "fresh process");
}

/// A text, also as a file for as long as the object lives.
struct Input {
    std::string path =
        (std::filesystem::temp_directory_path() / ("obj_bench_" + std::to_string(getpid()))).string();
    std::string text;

    Input(size_t bytes, int objects) : text(makeText(bytes, objects)) {
        std::ofstream(path, std::ios::binary) << text;
    }
    ~Input() { std::filesystem::remove(path); }
};

/// range(0): megabytes, range(1): objects, range(2): whether the sides begin with a file.
void ObjText(benchmark::State& state) {
    const Input input(static_cast<size_t>(state.range(0)) * 1000000, static_cast<int>(state.range(1)));
    const bool fromFile = state.range(2) != 0;
    DataBlock block;
    block.ReadFile(input.path.c_str());
    std::istringstream stream(input.text);
    std::vector<double> ours, peers;
    for (auto _ : state) {
        Meshes meshes;
        std::vector<PeerMesh> peerMeshes;
        ours.push_back(secondsOf([&] {
            DataBlock file;
            if (fromFile)
                file.ReadFile(input.path.c_str());
            readMeshes(fromFile ? file : block, meshes);
        }));
        stream.clear();
        stream.seekg(0);
        peers.push_back(secondsOf([&] {
            std::ifstream file;
            if (fromFile)
                file.open(input.path);
            readPeer(fromFile ? static_cast<std::istream&>(file) : stream, peerMeshes);
        }));
        state.SetIterationTime(ours.back());
        requireSame(meshes, peerMeshes);
    }
    const double megabytes = static_cast<double>(input.text.size()) / 1e6;
    state.counters["MB/s"] = megabytes / median(ours);
    state.counters["peer_MB/s"] = megabytes / median(peers);
    state.counters["ratio"] = median(peers) / median(ours);
    double memory = 0, speed = 0;
    runReadOnly(input.path, memory, speed);
    state.counters["memory"] = memory;
    state.counters["first_MB/s"] = speed;
}

BENCHMARK(ObjText)
    ->ArgNames({"MB", "objects", "file"})
    ->ArgsProduct({{2, 40}, {1, 25}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && strncmp(argv[1], kReadOnly, strlen(kReadOnly)) == 0)
        return readOnly(argv[1] + strlen(kReadOnly));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

// packages: libbenchmark-dev
// args: --benchmark_enable_random_interleaving=true --benchmark_repetitions=5 --benchmark_min_time=0.1
//
// A frame that uses 1,000 items of each kind by name as the engine functions of scripts do (textures, shaders
// and sounds used, meshes and texts looked up), from managers that hold 1,000, 2,000 or 4,000: the time must
// not depend on how many there are. All are real ones in a real context. "frame" is the sum, with everything
// but the drawing; "mesh draws" and "text draws" are the draws by themselves, where OpenGL sets the pace;
// "misses" are names that nothing has. Before and after the timed frames every item is used once and the
// outcome checked; a wrong one ends the run with an error.
#include "drawjoin.h"
#include "manager.h"
#include "manager_audio.h"
#include "materials.h"
#include "opengl.h"
#include "shadering.h"

#include <SFML/Graphics/Image.hpp>
#include <SFML/Window.hpp>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int kUsesPerFrame = 1000;
constexpr int kGroups = 10; // the items are spread over this many, named and default

void require(bool right, const char* what) {
    if (right)
        return;
    fprintf(stderr, "content_bench: wrong answer: %s\n", what);
    exit(1);
}

std::string itemName(int i) {
    char name[32];
    snprintf(name, sizeof(name), "stone_wall_%05d", i);
    return name;
}

std::string groupName(int i) {
    return i % kGroups == 0 ? "" : "level_" + std::to_string(i % kGroups);
}

void writeFile(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
}

/// The words with which a frame asks for an item of each kind.
struct Asked {
    std::string group, name, label;
};

/// Managers with count items each, and what a frame asks for.
struct Content {
    explicit Content(int count) : total(count) {
        for (int i = 0; i < total; i++) {
            names.push_back(itemName(i));
            groups.push_back(groupName(i));
            labels.push_back("Score of player " + std::to_string(i));
        }
        used.resize(total);
        std::iota(used.begin(), used.end(), 0);
        std::shuffle(used.begin(), used.end(), std::mt19937(5));
        used.resize(kUsesPerFrame);
        for (int i : used)
            asked.push_back({groups[i], names[i], labels[i]});
        addFiles();
        for (int i = 0; i < total; i++) {
            std::vector<float> samples(2205, 0.1f); // 50 ms
            const int sound = audio.NewAudio(names[i].c_str(), groups[i].c_str());
            audio.SetAudioData(sound, samples.data(), static_cast<int>(samples.size()), 1, 44100, 1);
        }
        check();
    }

    void addFiles() {
        sf::Image image;
        image.create(4, 4, sf::Color::Red);
        require(image.saveToFile("pixel.png"), "cannot write an image");
        writeFile("flat.shad", "#SECTION VERTEX\nvoid main() { gl_Position = ftransform(); }\n"
                               "#SECTION FRAGMENT\nvoid main() { gl_FragColor = vec4(1.0); }\n");
        for (int i = 0; i < total; i++) {
            std::error_code exists;
            fs::create_hard_link("pixel.png", names[i] + ".png", exists);
            fs::create_hard_link("flat.shad", names[i] + ".shad", exists);
            textures.AddContent((names[i] + ".png").c_str(), groups[i].c_str(), nullptr, nullptr);
            shaders.AddContent((names[i] + ".shad").c_str(), groups[i].c_str(), nullptr, nullptr);
        }
        for (int g = 0; g < kGroups; g++) {
            std::string obj = "v 0 0 0\nv 0.1 0 0\nv 0 0.1 0\nvt 0 0\nvn 0 0 1\n";
            for (int i = g; i < total; i += kGroups)
                obj += "o " + names[i] + "_1\nf 1/1/1 2/1/1 3/1/1\n";
            writeFile("meshes.obj", obj);
            meshes.AddContent("meshes.obj", groupName(g).c_str(), nullptr, nullptr);
        }
    }

    /// Uses every item once and looks at what that did.
    void check() {
        for (int i = 0; i < total; i++) {
            const char* group = groups[i].c_str();
            const char* name = names[i].c_str();
            textures.Use(group, name);
            int bound = 0;
            glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
            auto* texture = reinterpret_cast<Texture*>(textures.GetItem(i));
            require(texture && texture->texId == static_cast<unsigned>(bound), "texture");
            shaders.Use(group, name);
            require(shaders.GetBoundShader() && shaders.GetBoundShader() == asShader(i), "shader");
            audio.Use(group, name);
            require(audio.channels[audio.GetLastIndex()].ownerIndex == i, "sound");
            require(meshes.GetItem(name, group) == meshes.GetLoadedItem(meshIndex(i)), "mesh");
            const DataBlock& text = texts.UseText(labels[i].c_str(), nullptr)->text;
            require(std::string(reinterpret_cast<char*>(text.data), text.len) == labels[i], "text");
        }
        require(texts.texts.Count() == total, "number of texts");
        textures.Use(-1);
        shaders.Use(-1);
        drawJoin.Reset();
        require(glGetError() == GL_NO_ERROR, "OpenGL error");
        glFinish();
    }

    /// Whether OpenGL has the texture and the program that the last frame has left, if it has used any.
    void checkCurrent() {
        int bound = 0, program = 0;
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
        glGetIntegerv(GL_CURRENT_PROGRAM, &program);
        require(bound == lastTexture, "texture after the frame");
        require(program == lastProgram, "program after the frame");
        lastTexture = lastProgram = 0;
    }

    Shader* asShader(int i) { return reinterpret_cast<Shader*>(shaders.GetItem(i)); }

    // The meshes are registered group by group.
    int meshIndex(int i) const { return i % kGroups * (total / kGroups) + i / kGroups; }

    int total;
    int lastTexture = 0, lastProgram = 0; // OpenGL's names
    float now = 0;
    std::vector<std::string> names, groups, labels;
    std::vector<int> used;    // what a frame uses
    std::vector<Asked> asked; // the same as the words that ask for it, one after another
    TextureManager textures;
    ShaderManager shaders;
    GeometryManager meshes;
    AudioManager audio;
    TextManager texts;
};

std::map<int, std::unique_ptr<Content>>& allContent() {
    static std::map<int, std::unique_ptr<Content>> made;
    return made;
}

Content& contentOf(int count) {
    std::unique_ptr<Content>& content = allContent()[count];
    if (!content)
        content = std::make_unique<Content>(count);
    return *content;
}

/// The same use of 1,000 items a frame.
template <typename Use>
void runFrames(benchmark::State& state, Use use) {
    Content& content = contentOf(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        content.now += 1.0f / 60;
        content.audio.SetTime(content.now, 0);
        content.audio.HoldStarts();
        for (const Asked& asked : content.asked)
            use(content, asked);
        content.audio.ReleaseStarts();
    }
    drawJoin.Sync();
    content.checkCurrent();
    content.check();
}

void useTexture(Content& c, const Asked& a) {
    int* item = c.textures.GetItem(a.name.c_str(), a.group.c_str());
    const unsigned name = reinterpret_cast<Texture*>(item)->texId;
    drawJoin.SetTexture(name);
    c.lastTexture = static_cast<int>(name);
}

void useShader(Content& c, const Asked& a) {
    int* item = c.shaders.GetItem(a.name.c_str(), a.group.c_str());
    auto* shader = reinterpret_cast<Shader*>(item);
    c.shaders.boundShader = shader;
    drawJoin.SetProgram(shader->program);
    c.lastProgram = static_cast<int>(shader->program);
}

void findMesh(Content& c, const Asked& a) {
    benchmark::DoNotOptimize(c.meshes.GetItem(a.name.c_str(), a.group.c_str()));
}

void useSound(Content& c, const Asked& a) {
    c.audio.Use(a.group.c_str(), a.name.c_str());
}

void findText(Content& c, const Asked& a) {
    benchmark::DoNotOptimize(c.texts.UseText(a.label.c_str(), nullptr));
}

void useAll(Content& c, const Asked& a) {
    useTexture(c, a);
    useShader(c, a);
    findMesh(c, a);
    useSound(c, a);
    findText(c, a);
}

void drawMesh(Content& c, const Asked& a) {
    c.meshes.Use(a.group.c_str(), a.name.c_str());
}

void drawText(Content& c, const Asked& a) {
    c.texts.CreateDrawText(a.label.c_str(), nullptr);
}

void missName(Content& c, const Asked& a) {
    benchmark::DoNotOptimize(c.textures.GetIndex(a.label.c_str(), a.group.c_str()));
    benchmark::DoNotOptimize(c.textures.GetIndex(a.name.c_str(), a.label.c_str()));
}

template <typename Use>
void addRow(const std::string& name, Use use) {
    auto run = [use](benchmark::State& state) { runFrames(state, use); };
    benchmark::RegisterBenchmark(("content/" + name).c_str(), run)
        ->Arg(1000)
        ->Arg(2000)
        ->Arg(4000)
        ->Unit(benchmark::kMicrosecond);
}

int run() {
    sf::Window window(sf::VideoMode(64, 64), "content_bench", sf::Style::None, sf::ContextSettings(24));
    setupExtensions();
    glScalef(0.01f, 0.01f, 0.01f); // what is drawn costs its vertices, not its pixels
    addRow("frame", useAll);
    addRow("textures", useTexture);
    addRow("shaders", useShader);
    addRow("meshes", findMesh);
    addRow("sounds", useSound);
    addRow("texts", findText);
    addRow("misses", missName);
    addRow("mesh draws", drawMesh);
    addRow("text draws", drawText);
    const bool ran = benchmark::RunSpecifiedBenchmarks() > 0;
    allContent().clear(); // while the context lives
    return ran ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    setenv("ALSOFT_DRIVERS", "null", 0);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    const fs::path home = fs::current_path();
    const fs::path dir = fs::temp_directory_path() / ("content_bench_" + std::to_string(getpid()));
    fs::create_directories(dir);
    fs::current_path(dir);
    const int result = run();
    fs::current_path(home);
    fs::remove_all(dir);
    return result;
}

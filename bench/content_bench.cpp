// packages: libbenchmark-dev
//
// A frame that uses 1,000 items of each kind by name (textures, shaders, sounds and texts used, meshes looked
// up), from managers that hold 1,000, 2,000 or 4,000: the time must not depend on how many there are. All are
// real ones in a real context. "frame" is the sum, with everything but the drawing; "mesh draws" and "text
// draws" are the draws by themselves, where OpenGL sets the pace; "misses" are names that nothing has. Before
// and after the timed frames every item is used once and the outcome checked; a wrong one ends the run with
// an error.
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
        require(glGetError() == GL_NO_ERROR, "OpenGL error");
        glFinish();
    }

    Shader* asShader(int i) { return reinterpret_cast<Shader*>(shaders.GetItem(i)); }

    // The meshes are registered group by group.
    int meshIndex(int i) const { return i % kGroups * (total / kGroups) + i / kGroups; }

    int total;
    float now = 0;
    std::vector<std::string> names, groups, labels;
    std::vector<int> used; // what a frame uses
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
        for (int i : content.used)
            use(content, i);
    }
    glFinish();
    content.check();
}

void useTexture(Content& c, int i) {
    c.textures.Use(c.groups[i].c_str(), c.names[i].c_str());
}

void useShader(Content& c, int i) {
    c.shaders.Use(c.groups[i].c_str(), c.names[i].c_str());
}

void findMesh(Content& c, int i) {
    benchmark::DoNotOptimize(c.meshes.GetItem(c.names[i].c_str(), c.groups[i].c_str()));
}

void useSound(Content& c, int i) {
    c.audio.Use(c.groups[i].c_str(), c.names[i].c_str());
}

void findText(Content& c, int i) {
    benchmark::DoNotOptimize(c.texts.UseText(c.labels[i].c_str(), nullptr));
}

void useAll(Content& c, int i) {
    useTexture(c, i);
    useShader(c, i);
    findMesh(c, i);
    useSound(c, i);
    findText(c, i);
}

void drawMesh(Content& c, int i) {
    c.meshes.Use(c.groups[i].c_str(), c.names[i].c_str());
}

void drawText(Content& c, int i) {
    c.texts.CreateDrawText(c.labels[i].c_str(), nullptr);
}

void missName(Content& c, int i) {
    benchmark::DoNotOptimize(c.textures.GetIndex(c.labels[i].c_str(), c.groups[i].c_str()));
    benchmark::DoNotOptimize(c.textures.GetIndex(c.names[i].c_str(), c.labels[i].c_str()));
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

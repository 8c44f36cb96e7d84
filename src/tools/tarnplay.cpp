// tarnplay: runs one script without the launcher, for script authors and for tests of games.
// Exit status: 0 the script ran to its end, 1 it failed or could not be started, 2 wrong arguments.
#include "display.h"
#include "luathingy.h"
#include "opengl.h"
#include "strfuncs.h"

#include <SFML/Graphics/Image.hpp>
#include <SFML/System/Sleep.hpp>
#include <cstdio>
#include <filesystem>
#include <getopt.h>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int kWatchedFrames = 30; // frames between two looks at the files

const char kUsage[] = "usage: tarnplay [-r W H | -r max | -r min] [-f] [options] SCRIPT\n"
                      "  -r W H, -r max, -r min  window size; max is the whole screen's\n"
                      "  -f                      full screen\n"
                      "  --frames N              stop after N drawn frames\n"
                      "  --capture FILE.png      save the last of these frames (--frames 1 without it)\n"
                      "  --no-shaders            start with shaders disabled\n"
                      "  --unlimited             do not hold 60 frames a second, to measure\n"
                      "  --watch                 start afresh whenever a file in scripts/ or media/ changes\n"
                      "SCRIPT is a file of scripts/, with or without that prefix.\n";

struct Options {
    std::vector<char*> arguments; // as given: the engine reads -r and -f from them
    std::string script;           // below scripts/
    int frames = 0;               // 0: until Escape
    std::string capture;          // empty: none
    bool shaders = true;
    bool limited = true;
    bool watch = false;
};

enum class Outcome { Ended, Failed, FilesChanged };

// ---- Arguments ----

std::string belowScripts(const std::string& path) {
    const std::string prefix = "scripts/";
    return path.compare(0, prefix.size(), prefix) == 0 ? path.substr(prefix.size()) : path;
}

// Whether "-r" names a size. That of "-r W H" has a second word, which getopt would take for the script.
bool readSize(int argc, char** argv) {
    if (strequal(optarg, "max", true) || strequal(optarg, "min", true))
        return true;
    const bool isPair = optind < argc && numeric(optarg) && numeric(argv[optind]);
    optind += isPair ? 1 : 0;
    return isPair;
}

bool readOptions(int argc, char** argv, Options& options) {
    static const option known[] = {
        {"frames", required_argument, nullptr, 'n'}, {"capture", required_argument, nullptr, 'c'},
        {"no-shaders", no_argument, nullptr, 's'},   {"unlimited", no_argument, nullptr, 'u'},
        {"watch", no_argument, nullptr, 'w'},        {nullptr, 0, nullptr, 0}};
    options.arguments.assign(argv, argv + argc);
    for (int letter; (letter = getopt_long(argc, argv, "r:f", known, nullptr)) != -1;) {
        if (letter == 'r' && readSize(argc, argv))
            continue;
        if (letter == 'n' && numeric(optarg))
            options.frames = toint(optarg);
        else if (letter == 'c')
            options.capture = optarg;
        else if (letter == 's')
            options.shaders = false;
        else if (letter == 'u')
            options.limited = false;
        else if (letter == 'w')
            options.watch = true;
        else if (letter != 'f')
            return false;
    }
    if (optind + 1 != argc)
        return false;
    options.script = belowScripts(argv[optind]);
    if (!options.capture.empty() && options.frames == 0)
        options.frames = 1;
    return true;
}

// ---- Watching ----

// A number that changes whenever a file below scripts/ or media/ is written, added or removed.
std::size_t contentStamp() {
    std::size_t stamp = 0;
    for (const char* root : {"scripts", "media"}) {
        std::error_code error;
        for (fs::recursive_directory_iterator file(root, error), end; file != end; file.increment(error)) {
            const auto time = fs::last_write_time(file->path(), error).time_since_epoch().count();
            stamp += std::hash<std::string>()(file->path().string() + std::to_string(time));
        }
    }
    return stamp;
}

// ---- Playing ----

// The host with an eye on each finished frame.
class Player : public LuaThingy {
public:
    explicit Player(const Options& given) : options(given), drawnFrames(0), captureFailed(false) {}

    bool Done() const { return options.frames > 0 && drawnFrames >= options.frames; }

    const Options& options;
    int drawnFrames;
    bool captureFailed;

protected:
    void Present() override {
        ++drawnFrames;
        if (Done() && !options.capture.empty())
            captureFailed = !saveFrame();
        LuaThingy::Present();
    }

private:
    // OpenGL's rows start at the bottom, an image's at the top.
    bool saveFrame() const {
        std::vector<sf::Uint8> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
        glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        for (std::size_t i = 3; i < pixels.size(); i += 4)
            pixels[i] = 255;
        sf::Image image;
        image.create(static_cast<unsigned>(width), static_cast<unsigned>(height), pixels.data());
        image.flipVertically();
        return image.saveToFile(options.capture);
    }
};

Outcome play(const Options& options) {
    Player player(options);
    player.DeclareArgs(static_cast<int>(options.arguments.size()),
                       const_cast<char**>(options.arguments.data()));
    player.ParseArgs();
    player.shaderManager.SetShadersEnabled(options.shaders);
    player.limitFps = options.limited;
    player.SetLoadScript(options.script.c_str());
    player.SetupStandardWindow();
    const std::size_t stamp = options.watch ? contentStamp() : 0;
    int result = player.Init();
    // A file that fails after it has defined its Init says nothing by itself.
    if (result == 0 && player.loadError.Len() > 0)
        printf("Lua Err LOAD: %s.\n", player.loadError.CStr());
    while (result == 0 && !player.Done()) {
        result = player.TimeStep();
        if (options.watch && player.frameCount % kWatchedFrames == 0 && contentStamp() != stamp)
            return Outcome::FilesChanged;
    }
    return player.scriptFailed || player.captureFailed ? Outcome::Failed : Outcome::Ended;
}

// After a failure the author mends the script: wait for that instead of ending.
int playAndWatch(const Options& options) {
    for (;;) {
        const std::size_t stamp = contentStamp();
        const Outcome outcome = play(options);
        if (outcome == Outcome::Ended)
            return 0;
        if (outcome == Outcome::Failed)
            printf("Waiting for a change in scripts/ or media/ ...\n");
        while (outcome == Outcome::Failed && contentStamp() == stamp)
            sf::sleep(sf::milliseconds(200));
    }
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!readOptions(argc, argv, options)) {
        fputs(kUsage, stderr);
        return 2;
    }
    if (!StartConsole())
        return 1;
    if (options.watch)
        return playAndWatch(options);
    return play(options) == Outcome::Ended ? 0 : 1;
}

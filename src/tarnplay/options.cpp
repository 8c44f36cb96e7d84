// Reading tarnplay's command line.
#include "options.h"

#include "film.h"
#include "strfuncs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

constexpr int kLargestSide = 16384; // pixels of a window
constexpr int kLargestFrame = 1000000000;
constexpr double kLongest = 1e6; // seconds
constexpr std::size_t kHelpColumn = 30;

const char* const kRunning = "Running";
const char* const kTesting = "Testing";
const char* const kPlaying = "Playing, recording and filming";
const char* const kHelp = "Help";

// ---- Checks: the empty string when all is well, as the library wants it ----

bool isNumber(const std::string& word) {
    return numeric(word.c_str());
}

bool isSide(const std::string& word) {
    return isNumber(word) && word.size() <= 5 && toint(word.c_str()) >= 1 &&
           toint(word.c_str()) <= kLargestSide;
}

// A size as one text: "W H", "max" or "min".
std::string checkSize(const std::string& size) {
    const std::size_t blank = size.find(' ');
    if (size == "max" || size == "min")
        return "";
    if (blank != std::string::npos && isSide(size.substr(0, blank)) && isSide(size.substr(blank + 1)))
        return "";
    return "no size '" + size + "': write -r WIDTH HEIGHT (each 1 to " + std::to_string(kLargestSide) +
           "), -r max or -r min";
}

std::string checkName(const std::string& path) {
    return path.empty() ? "the file's name is missing" : "";
}

std::string checkPng(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    toLower(ending.data());
    return ending == ".png" ? "" : "'" + path + "' is no .png file";
}

std::string checkShot(const std::string& shot) {
    const std::size_t colon = shot.find(':');
    const std::string frame = shot.substr(0, colon);
    if (colon == std::string::npos || !isNumber(frame) || frame.size() > 9 || toint(frame.c_str()) < 1)
        return "'" + shot + "' is not FRAME:FILE.png, where the first frame is 1";
    return checkPng(shot.substr(colon + 1));
}

std::string checkSeconds(const std::string& text) {
    char* end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    if (*end == '\0' && seconds > 0 && seconds <= kLongest)
        return "";
    return "'" + text + "' is no number of seconds above 0";
}

// ---- The options ----

// "-r" has one or two words, which no argument library can tell from the script's name: two numbers become
// one word, attached to the option.
// @return the words from the last to the first, as the library takes them
std::vector<std::string> joinSize(int argc, char** argv) {
    std::vector<std::string> words;
    bool reading = true; // no "--" yet
    for (int i = 1; i < argc; ++i) {
        reading = reading && strcmp(argv[i], "--") != 0;
        words.push_back(argv[i]);
        if (!reading || words.back() != "-r" || i + 2 >= argc || !numeric(argv[i + 1]) ||
            !numeric(argv[i + 2]))
            continue;
        words.back() += std::string(argv[i + 1]) + ' ' + argv[i + 2];
        i += 2;
    }
    std::reverse(words.begin(), words.end());
    return words;
}

/// What the library reads before it becomes Options.
struct RawOptions {
    std::string size; // as checkSize knows it; empty: the engine's own
    bool fullScreen = false;
    bool noShaders = false;
    bool unlimited = false;
    std::optional<int> tolerance;
    std::vector<std::string> shots; // as checkShot knows them
};

void addRunning(CLI::App& app, Options& options, RawOptions& raw) {
    app.add_option("-r", raw.size, "size of the window: two numbers, the whole screen, or 700 580")
        ->type_name("W H|max|min")
        ->check(checkSize)
        ->group(kRunning);
    app.add_flag("-f", raw.fullScreen, "full screen")->group(kRunning);
    app.add_option("--root", options.root, "the game's directory, which holds scripts/ and media/")
        ->type_name("DIR")
        ->check(CLI::Validator(CLI::ExistingDirectory).description(""))
        ->group(kRunning);
    app.add_flag("--no-shaders", raw.noShaders, "start with shaders disabled")->group(kRunning);
    app.add_flag("--unlimited", raw.unlimited, "do not hold 60 frames a second, to measure")->group(kRunning);
}

void addTesting(CLI::App& app, Options& options) {
    app.add_option("--frames", options.frames, "stop after N drawn frames; without it Escape ends the script")
        ->type_name("N")
        ->check(CLI::Range(1, kLargestFrame).description(""))
        ->group(kTesting);
    app.add_flag("--fixed-clock", options.fixedClock,
                 "each frame takes 1/60 s of a clock of its own and nobody\n"
                 "waits: every run has the same times, numbers and pictures")
        ->group(kTesting);
    app.add_option("--seed", options.seed, "where random numbers start; 1 with --fixed-clock")
        ->type_name("N")
        ->group(kTesting);
    app.add_option("--time-limit", options.timeLimit, "end with status 3 after so many real seconds")
        ->type_name("SECONDS")
        ->check(checkSeconds)
        ->group(kTesting);
    app.add_flag("--hud", options.hud, "show the cost of each frame in the picture")->group(kTesting);
    app.add_option("--trace", options.trace, "write where the time goes, for a browser's trace viewer")
        ->type_name("FILE.json")
        ->check(checkName)
        ->group(kTesting);
    app.add_option("--junit", options.junit, "write a report that CI systems read")
        ->type_name("FILE")
        ->check(checkName)
        ->group(kTesting);
}

void addPictures(CLI::App& app, Options& options, RawOptions& raw) {
    app.add_option("--capture", options.capture,
                   "save the last frame (without --frames the first or\n"
                   "that of the last --shot)")
        ->type_name("FILE.png")
        ->check(checkPng)
        ->group(kTesting);
    app.add_option("--shot", raw.shots, "save this frame; may be given again for others")
        ->type_name("FRAME:FILE.png")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(checkShot)
        ->group(kTesting);
    app.add_option("--expect", options.expected,
                   "compare the last frame with this picture: status 4 where\n"
                   "it differs, with FILE-actual.png and FILE-difference.png")
        ->type_name("FILE.png")
        ->check(checkPng)
        ->group(kTesting);
    app.add_option("--tolerance", raw.tolerance, "a difference of a colour that still equals, 0 to 255")
        ->type_name("N")
        ->check(CLI::Range(0, 255).description(""))
        ->group(kTesting);
}

void addPlaying(CLI::App& app, Options& options) {
    CLI::Option* const input =
        app.add_option("--input", options.input, "play the keys and the pointer of a text")
            ->type_name("FILE")
            ->check(checkName)
            ->group(kPlaying);
    app.add_option("--record", options.record, "write what --input and --replay read")
        ->type_name("FILE")
        ->check(checkName)
        ->group(kPlaying);
    CLI::Option* const replay = app.add_option("--replay", options.replay,
                                               "play a recording with its size, seed and times,\n"
                                               "as fast as the machine can")
                                    ->type_name("FILE")
                                    ->check(checkName)
                                    ->excludes(input)
                                    ->group(kPlaying);
    app.add_flag("--check", options.check,
                 "stop with status 4 at the first picture that is not the\n"
                 "recorded one, with FILE-FRAME-actual.png and -recorded.png")
        ->needs(replay)
        ->group(kPlaying);
    app.add_option("--film", options.film, "film the frames, 60 a second whatever the machine")
        ->type_name("FILE.mp4|.gif")
        ->check(CheckFilm)
        ->group(kPlaying);
}

void addHelp(CLI::App& app) {
    app.set_help_flag("-h,--help", "show this and end")->group(kHelp);
    app.set_version_flag("--version", "tarnplay " TARN_VERSION, "show the version and end")->group(kHelp);
    app.footer("Frames count from 1. Files are found from where tarnplay was started; the script runs in\n"
               "the game's directory, which is found from the script's path.\n"
               "Exit status: 0 fine, 1 script error, 2 OpenGL error, 3 time limit, 4 picture differs,\n"
               "64 wrong arguments. The first thing that goes wrong decides.\n");
    app.get_formatter()->column_width(kHelpColumn);
    app.get_formatter()->label("REQUIRED", "");
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("ERR: ") + error.what() +
               "\nusage: tarnplay [OPTIONS] SCRIPT\nTry tarnplay --help for all options.\n";
    });
}

// ---- From the library's values to Options ----

void takeSize(const RawOptions& raw, Options& options) {
    if (!raw.size.empty()) {
        const std::size_t blank = raw.size.find(' ');
        options.sizeWords = {"-r", raw.size.substr(0, blank)};
        if (blank != std::string::npos)
            options.sizeWords.push_back(raw.size.substr(blank + 1));
    }
    if (raw.fullScreen) // last: a size switches it off again
        options.sizeWords.push_back("-f");
}

void takeShots(const RawOptions& raw, Options& options) {
    for (const std::string& shot : raw.shots) {
        const std::size_t colon = shot.find(':');
        options.shots.push_back({toint(shot.substr(0, colon).c_str()), shot.substr(colon + 1)});
        if (options.frames > 0 && options.shots.back().frame > options.frames)
            throw CLI::ValidationError("--shot", "frame " + shot.substr(0, colon) +
                                                     " comes after the last of --frames");
    }
}

// All paths count from it.
void needWorkingDirectory() {
    std::error_code error;
    if (std::filesystem::current_path(error).empty())
        throw CLI::ValidationError("the working directory is gone (" + error.message() + ")");
}

// Files may be links: only the directories before them become the true ones.
void makeAbsolute(std::string& path) {
    const std::filesystem::path written(path);
    std::error_code error;
    if (!path.empty())
        path = (std::filesystem::weakly_canonical("." / written.parent_path(), error) / written.filename())
                   .string();
}

// The script's own path is resolved with the game's root.
void makePathsAbsolute(Options& options) {
    if (!options.root.empty())
        options.root = std::filesystem::canonical(options.root).string();
    for (std::string* path : {&options.input, &options.capture, &options.expected, &options.junit,
                              &options.record, &options.replay, &options.film, &options.trace})
        makeAbsolute(*path);
    for (Shot& shot : options.shots)
        makeAbsolute(shot.path);
}

// What is written over a file that another option names would be lost, or compared with itself.
void refuseSameFiles(const Options& options) {
    std::vector<std::string> files{options.input,  options.capture, options.expected, options.junit,
                                   options.record, options.replay,  options.film,     options.trace};
    for (const Shot& shot : options.shots)
        files.push_back(shot.path);
    std::sort(files.begin(), files.end());
    const auto isTwice = [](const std::string& a, const std::string& b) { return !a.empty() && a == b; };
    const auto twice = std::adjacent_find(files.begin(), files.end(), isTwice);
    if (twice != files.end())
        throw CLI::ValidationError(*twice, "two options name this file");
}

int lastShot(const Options& options) {
    int frame = 1;
    for (const Shot& shot : options.shots)
        frame = std::max(frame, shot.frame);
    return frame;
}

void complete(const RawOptions& raw, Options& options) {
    takeSize(raw, options);
    takeShots(raw, options);
    if (raw.tolerance && options.expected.empty())
        throw CLI::RequiresError("--tolerance", "--expect");
    options.tolerance = raw.tolerance.value_or(0);
    options.shaders = !raw.noShaders;
    options.limited = !raw.unlimited;
    needWorkingDirectory();
    makePathsAbsolute(options);
    refuseSameFiles(options);
    const bool wantsLast = !options.capture.empty() || !options.expected.empty();
    const bool endsOtherwise = !options.input.empty() || !options.replay.empty() || !options.record.empty() ||
                               !options.film.empty() || options.watch;
    if (wantsLast && options.frames == 0 && !endsOtherwise)
        options.frames = lastShot(options);
}

} // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
    RawOptions raw;
    CLI::App app("Runs one script without the launcher, for authors and for tests of games.", "tarnplay");
    app.add_option("SCRIPT", options.script, "a .lua or .moon file below the game's scripts directory")
        ->type_name("")
        ->check(checkName)
        ->required();
    addRunning(app, options, raw);
    addTesting(app, options);
    addPictures(app, options, raw);
    addPlaying(app, options);
    CLI::Option* const watch =
        app.add_flag("--watch", options.watch, "apply edits below scripts/ and media/ while the script runs");
    // What is recorded, replayed or filmed is one game whose code stays as it is.
    for (const char* whole : {"--record", "--replay", "--film"})
        watch->excludes(app.get_option(whole));
    addHelp(app);
    try {
        app.parse(joinSize(argc, argv));
        complete(raw, options);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? STATUS_FINE : STATUS_USAGE;
    }
    return std::nullopt;
}

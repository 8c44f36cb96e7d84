// Piping frames into ffmpeg.
#include "film.h"

#include "memoryuse.h"
#include "opengl.h"
#include "player.h"
#include "strfuncs.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using Words = std::vector<std::string>;

std::string endingOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    toLower(ending.data());
    return ending;
}

// @return the program's path, empty when it is nowhere in PATH
std::string findProgram(const char* name) {
    const char* const folders = getenv("PATH");
    std::istringstream list(folders ? folders : "");
    for (std::string folder; std::getline(list, folder, ':');) {
        const std::string path = (folder.empty() ? "." : folder) + "/" + name;
        if (access(path.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(path))
            return path;
    }
    return "";
}

// OpenGL's rows start at the bottom; video wants even sides, so an odd one gets a black edge.
Words packingOf(const std::string& path) {
    if (endingOf(path) == ".gif")
        // A palette for each picture: one for all of them would keep the whole film in memory. So no part of
        // a picture may stay as it was under the palette before. Viewers slow pictures of a single hundredth
        // of a second down, so each takes two.
        return {"-vf", "vflip,fps=50,split[a][b];[a]palettegen=stats_mode=single[p];"
                       "[b][p]paletteuse=new=1:dither=bayer:bayer_scale=4"};
    return {"-vf",       "vflip,pad=ceil(iw/2)*2:ceil(ih/2)*2",
            "-c:v",      "libx264",
            "-crf",      "16",
            "-pix_fmt",  "yuv420p",
            "-movflags", "+faststart"};
}

Words commandOf(const std::string& program, const std::string& path, int width, int height) {
    Words words{program,
                "-hide_banner",
                "-loglevel",
                "error",
                "-y",
                "-f",
                "rawvideo",
                "-pixel_format",
                "rgb0",
                "-video_size",
                std::to_string(width) + "x" + std::to_string(height),
                "-framerate",
                "60",
                "-i",
                "pipe:0"};
    for (const std::string& word : packingOf(path))
        words.push_back(word);
    words.push_back("file:" + path); // no name is an option or an address
    return words;
}

/// A program that reads what is written here. It is waited for at the end.
class Sink {
public:
    ~Sink() { Close(); }

    /// @return false when it could not be started
    bool Start(const Words& words);
    /// @return false when it reads no more
    bool Write(const unsigned char* bytes, std::size_t count) const;
    /// Ends its input and waits for its end.
    /// @return whether it has succeeded
    bool Close();

private:
    int input = -1;
    pid_t process = 0;
};

bool Sink::Start(const Words& words) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO); // ours is the script's
    // Keys on the terminal that end this program must let that one finish its file.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &pipeSignal);
    const UsualStackLimit usual;
    const int failed = posix_spawn(&process, pointers[0], &files, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    close(ends[0]);
    input = ends[1];
    if (failed != 0)
        process = 0;
    return failed == 0;
}

bool Sink::Write(const unsigned char* bytes, std::size_t count) const {
    while (count > 0) {
        const ssize_t written = write(input, bytes, count);
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        }
    }
    return true;
}

bool Sink::Close() {
    if (input >= 0)
        close(input);
    input = -1;
    if (process == 0)
        return false;
    int status = -1;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    process = 0;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class Film : public Feature {
public:
    explicit Film(std::string ffmpeg) : program(std::move(ffmpeg)), width(0), height(0), ended(false) {
        signal(SIGPIPE, SIG_IGN); // an ffmpeg that has failed shows in what write returns
    }

    void PictureReady(Player& player) override {
        if (ended)
            return;
        if (width == 0 && !start(player))
            return fail(player, "ffmpeg cannot be started");
        if (player.width != width || player.height != height)
            return fail(player, "the window has changed its size, the film ends before");
        glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        if (!sink.Write(pixels.data(), pixels.size()))
            fail(player, "ffmpeg has failed");
    }

    void Ended(Player& player) override {
        if (!ended && width > 0 && !sink.Close())
            fail(player, "ffmpeg has failed");
    }

private:
    bool start(const Player& player) {
        width = player.width;
        height = player.height;
        pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
        return sink.Start(commandOf(program, player.options.film, width, height));
    }

    void fail(Player& player, const char* why) {
        ended = true;
        sink.Close();
        player.findings.Tell(STATUS_SCRIPT_ERROR, player.options.film + ": " + why);
        player.End(STATUS_SCRIPT_ERROR);
    }

    const std::string program;
    Sink sink;
    int width, height; // of the film; 0 before the first frame
    bool ended;
    std::vector<unsigned char> pixels;
};

} // namespace

std::string CheckFilm(const std::string& path) {
    const std::string ending = endingOf(path);
    return ending == ".mp4" || ending == ".gif" ? "" : "'" + path + "' is neither an .mp4 nor a .gif file";
}

std::unique_ptr<Feature> MakeFilm(Player& player) {
    const std::string program = findProgram("ffmpeg");
    if (!program.empty())
        return std::make_unique<Film>(program);
    player.findings.Tell(STATUS_SCRIPT_ERROR,
                         "--film needs ffmpeg, which is not in PATH (Debian: apt install ffmpeg)");
    return nullptr;
}

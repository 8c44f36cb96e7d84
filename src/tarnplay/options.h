// What the command line of tarnplay asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// Exit statuses. The first thing that goes wrong decides.
enum ExitStatus {
    STATUS_FINE = 0,
    STATUS_SCRIPT_ERROR = 1, ///< the script failed, or could not be started at all
    STATUS_OPENGL_ERROR = 2,
    STATUS_TIME_LIMIT = 3,
    STATUS_PICTURE_DIFFERS = 4,
    STATUS_USAGE = 64 ///< wrong arguments
};

/// A picture that is wanted of one drawn frame; the first is 1.
struct Shot {
    int frame;
    std::string path;
};

/// See the top of this file. Paths are as given, relative to the directory where tarnplay was started, until
/// ReadOptions makes them absolute: the game runs in its own root.
struct Options {
    std::vector<std::string> sizeWords; ///< "-r W H", "-r max", "-r min", "-f" as the engine reads them
    std::string script;                 ///< below scripts/ of the root
    std::string root;                   ///< directory that holds scripts/ and media/
    bool shaders = true;
    bool limited = true;          ///< hold 60 frames a second
    int frames = 0;               ///< stop after this many drawn frames; 0: until Escape
    double timeLimit = 0;         ///< seconds of the real clock; 0: none
    bool fixedClock = false;      ///< each frame takes 1/60 s of a virtual clock, nobody waits
    std::optional<unsigned> seed; ///< of all random numbers
    std::string input;            ///< events to play; empty: the window's
    std::vector<Shot> shots;      ///< in the order given
    std::string capture;          ///< picture of the last frame; empty: none
    std::string expected;         ///< picture that the last frame must equal; empty: none
    int tolerance = 0;            ///< largest difference of a colour channel that still equals, 0 .. 255
    std::string junit;            ///< report to write; empty: none
    std::string record;           ///< events and picture hashes to write; empty: none
    std::string replay;           ///< recording to play; empty: none
    bool check = false;           ///< compare each picture with the recording's
    bool paced = false;           ///< hold the real clock's pace although the clock is virtual
    std::string film;             ///< .mp4 or .gif to write; empty: none
    bool watch = false;           ///< apply edits while the script runs
    bool hud = false;             ///< show the cost of each frame in the picture
    std::string trace;            ///< file for a trace viewer; empty: none
};

/// Reads the command line. Prints help, the version, or what is wrong with it.
/// @return nothing to go on with options; otherwise the exit status
std::optional<int> ReadOptions(int argc, char** argv, Options& options);

// Scripts that do not return: saving one of their files starts the program again.
#pragma once

#include "watch.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// The process's arguments and working directory. Make one before either changes.
class ProgramStart {
public:
    ProgramStart(int argc, char** argv);

    std::vector<std::string> words;
    std::string directory;
};

/// Watches from a thread of its own whether frames go on. Compiled Lua code cannot be interrupted in order,
/// so a program whose script hangs is replaced by itself as soon as a script has been saved since it was
/// loaded. There is one object at a time, made by the thread that runs the script.
class StuckScript {
public:
    StuckScript(const ProgramStart& start, std::vector<std::string> directories);
    ~StuckScript();
    StuckScript(const StuckScript&) = delete;
    StuckScript& operator=(const StuckScript&) = delete;

    /// The script's files are loaded next, as they are now.
    void Loading();
    /// The script has returned.
    void Alive();

private:
    void privWatch();

    const std::vector<std::string> roots;
    std::atomic<FileWatch::Clock::rep> lastAlive; // of the clock, when the script has returned last
    std::mutex guard;                             // of what follows
    std::condition_variable changed;
    FileStamps loaded; // the files when they were loaded last
    bool ended = false;
    std::thread thread;
};

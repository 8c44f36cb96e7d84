// The watching thread and how the process replaces itself.
#include "stuckscript.h"

#include <cstdio>
#ifndef _WIN32
#include <csignal>
#include <pthread.h>
#include <unistd.h>
#endif

namespace {

using Clock = FileWatch::Clock;

constexpr std::chrono::milliseconds kLook(100);
constexpr std::chrono::milliseconds kStuck(1500); // without a frame after a save

#ifndef _WIN32

// Read by the signal handler, which may not allocate.
std::vector<std::string> words;
std::vector<char*> arguments;
std::string directory;
pthread_t scriptThread;

#ifdef __linux__
const char* program() {
    return "/proc/self/exe";
}
#else
const char* program() {
    return arguments[0];
}
#endif

// In the thread that runs the script: servers that this process has started end with that thread.
void replaceProcess(int) {
    sigset_t all;
    sigemptyset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    if (chdir(directory.c_str()) == 0)
        execv(program(), arguments.data());
    _exit(1);
}

void prepareToReplace(const ProgramStart& start) {
    words = start.words;
    arguments.clear();
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    directory = start.directory;
    scriptThread = pthread_self();
    std::signal(SIGUSR1, replaceProcess);
}

void replaceNow() {
    pthread_kill(scriptThread, SIGUSR1);
}

#else

void prepareToReplace(const ProgramStart&) {}
void replaceNow() {}

#endif

Clock::rep now() {
    return Clock::now().time_since_epoch().count();
}

} // namespace

ProgramStart::ProgramStart(int argc, char** argv) : words(argv, argv + argc) {
    std::error_code error;
    directory = std::filesystem::current_path(error).string();
}

StuckScript::StuckScript(const ProgramStart& start, std::vector<std::string> directories)
    : roots(std::move(directories)), lastAlive(now()) {
    prepareToReplace(start);
    thread = std::thread(&StuckScript::privWatch, this);
}

StuckScript::~StuckScript() {
    {
        const std::lock_guard<std::mutex> lock(guard);
        ended = true;
    }
    changed.notify_all();
    thread.join();
}

void StuckScript::Loading() {
    FileStamps files = ScanFiles(roots);
    const std::lock_guard<std::mutex> lock(guard);
    loaded.swap(files);
    Alive();
}

void StuckScript::Alive() {
    lastAlive = now();
}

// A machine that is busy may hold a frame up for long, too: what counts is that none begins after the save.
void StuckScript::privWatch() {
    std::unique_lock<std::mutex> lock(guard);
    FileStamps seen;
    Clock::rep saved = 0; // when a save was noticed; 0: none
    while (!changed.wait_for(lock, kLook, [this] { return ended; })) {
        if (lastAlive > saved)
            saved = 0;
        if (Clock::duration(now() - lastAlive) < kLook)
            continue;
        FileStamps files = ScanFiles(roots);
        const bool settled = files == seen;
        seen.swap(files);
        if (saved == 0 && seen != loaded)
            saved = now();
        if (saved == 0 || !settled || Clock::duration(now() - saved) < kStuck)
            continue;
        fprintf(stderr, "The script does not return: starting again with what was saved.\n");
        replaceNow();
        return;
    }
}

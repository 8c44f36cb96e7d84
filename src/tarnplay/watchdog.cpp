// A second thread that watches the real clock.
#include "watchdog.h"

#include "junit.h"
#include "player.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#ifndef _WIN32
#include <unistd.h>
#endif

namespace {

// What a frame gets to end by itself once the limit has passed.
constexpr std::chrono::milliseconds kGrace(500);

std::string limitText(double seconds) {
    char text[64];
    snprintf(text, sizeof text, "the time limit of %g s has passed", seconds);
    return text;
}

// The script may hang while it prints: whoever waited for the stream's lock would hang as well.
void flushOutput() {
#ifndef _WIN32
    if (ftrylockfile(stdout) != 0)
        return;
#endif
    fflush(stdout);
}

class TimeLimit : public Feature {
public:
    explicit TimeLimit(Player& watched) : player(watched), state(State::Running) {
        if (player.options.timeLimit > 0)
            thread = std::thread(&TimeLimit::watch, this);
    }

    ~TimeLimit() override {
        change(State::Ended);
        if (thread.joinable())
            thread.join();
    }

    void FrameBegins(Player&) override {
        if (!player.options.timeLimit || !take(State::Passed, State::Ended))
            return;
        const std::string text = limitText(player.options.timeLimit);
        fprintf(stderr, "ERR: %s in frame %d.\n", text.c_str(), player.drawnFrames + 1);
        player.End(STATUS_TIME_LIMIT, text);
    }

    // What the features have to finish is not the script's time.
    void Ended(Player&) override { change(State::Ended); }

private:
    enum class State { Running, Passed, Ended };

    void change(State next) {
        const std::lock_guard<std::mutex> lock(guard);
        state = next;
        changed.notify_all();
    }

    bool take(State expected, State next) {
        const std::lock_guard<std::mutex> lock(guard);
        if (state != expected)
            return false;
        state = next;
        changed.notify_all();
        return true;
    }

    void watch() {
        std::unique_lock<std::mutex> lock(guard);
        const std::chrono::duration<double> limit(player.options.timeLimit);
        const auto ended = [this] { return state == State::Ended; };
        if (changed.wait_for(lock, limit, ended))
            return;
        state = State::Passed;
        if (!changed.wait_for(lock, kGrace, ended))
            endProcess();
    }

    // The script's thread will not come back: nothing of it can be ended in order.
    [[noreturn]] void endProcess() {
        const std::string text = limitText(player.options.timeLimit) + " and the script does not return";
        flushOutput();
        player.Abandon();
        player.findings.Tell(STATUS_TIME_LIMIT, text);
        if (!player.options.expected.empty())
            player.findings.Add(STATUS_PICTURE_DIFFERS, "there is no last frame to compare");
        EndReport(player.options, player.findings);
        _Exit(STATUS_TIME_LIMIT);
    }

    Player& player;
    std::mutex guard; // of state
    std::condition_variable changed;
    State state;
    std::thread thread;
};

} // namespace

std::unique_ptr<Feature> MakeTimeLimit(Player& player) {
    return std::make_unique<TimeLimit>(player);
}

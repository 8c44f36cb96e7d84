// The options of a session, and its features.
#include "session.h"

#include "film.h"
#include "player.h"
#include "recording.h"
#include "replay.h"
#include "saves.h"
#include "trace.h"

#include <algorithm>
#include <cstdio>
#include <random>

namespace {

// Of a recording that was killed, maybe by its last event. An input that nobody recorded ends with Escape.
int lastFrame(const InputScript& script) {
    if (script.hashes.empty())
        return 0;
    const int ofEvents = script.events.empty() ? 0 : script.events.back().frame;
    return std::max(script.hashes.rbegin()->first, ofEvents);
}

void takeSettings(const InputScript& script, Options& options) {
    if (options.sizeWords.empty() && script.width > 0)
        options.sizeWords = {"-r", std::to_string(script.width), std::to_string(script.height)};
    if (!options.seed)
        options.seed = script.seed;
    if (options.frames == 0)
        options.frames = script.frames;
    if (options.frames == 0)
        options.frames = lastFrame(script);
    options.shaders = options.shaders && script.shaders;
}

bool add(Player& player, std::unique_ptr<Feature> feature) {
    const bool made = feature != nullptr;
    if (made)
        player.Add(std::move(feature));
    return made;
}

} // namespace

bool PrepareSession(Options& options, InputScript& script, Findings& findings) {
    const std::string& path = options.replay.empty() ? options.input : options.replay;
    const std::string problem = path.empty() ? "" : script.Load(path);
    if (!problem.empty()) {
        fprintf(stderr, "%s\n", problem.c_str()); // the place comes first, for terminals and editors
        findings.Add(STATUS_USAGE, problem);
        return false;
    }
    if (options.check && script.hashes.empty()) {
        findings.Tell(STATUS_USAGE, path + " holds no pictures' hashes to check");
        return false;
    }
    if (!options.replay.empty())
        takeSettings(script, options);
    else
        script.saves.clear(); // an input is its events alone
    const bool made = !options.record.empty() || !options.film.empty();
    options.paced = made && path.empty() && !options.fixedClock;
    options.fixedClock = options.fixedClock || made || !options.replay.empty();
    if (options.fixedClock)
        options.limited = true; // the frame limiter is what moves that clock on
    // A recording that is played by hand has chances of its own.
    if (options.fixedClock && !options.seed)
        options.seed = options.paced ? std::random_device()() : 1;
    return true;
}

bool AddSession(Player& player, const InputScript& script) {
    const Options& options = player.options;
    // A run that repeats hears of nothing that happens around it: without an input it plays an empty one.
    if (!options.input.empty() || (options.fixedClock && !options.paced))
        player.Add(MakeInput(player, script));
    // A film that is played by hand is the only one that leaves saves to the engine.
    if (options.fixedClock && (!options.paced || !options.record.empty()))
        player.Add(MakeSaves(player, script.saves));
    if (options.paced)
        player.Add(MakePace(player));
    if (!options.record.empty() && !add(player, MakeRecording(player)))
        return false;
    if (options.check)
        player.Add(MakeCheck(script));
    if (!options.film.empty() && !add(player, MakeFilm(player)))
        return false;
    // After what takes pictures: presenting begins where it ends.
    return options.trace.empty() || add(player, MakeTrace(player));
}

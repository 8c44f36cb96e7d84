// The options of a session, and its features.
#include "session.h"

#include "film.h"
#include "player.h"
#include "recording.h"
#include "replay.h"
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

std::optional<int> PrepareSession(Options& options, InputScript& script) {
    const std::string& path = options.replay.empty() ? options.input : options.replay;
    if (!path.empty() && !script.Load(path))
        return STATUS_USAGE;
    if (options.check && script.hashes.empty()) {
        fprintf(stderr, "ERR: %s holds no pictures' hashes to check.\n", path.c_str());
        return STATUS_USAGE;
    }
    if (!options.replay.empty())
        takeSettings(script, options);
    const bool made = !options.record.empty() || !options.film.empty();
    options.paced = made && path.empty() && !options.fixedClock;
    options.fixedClock = options.fixedClock || made || !options.replay.empty();
    if (options.fixedClock)
        options.limited = true; // the frame limiter is what moves that clock on
    // A recording that is played by hand has chances of its own.
    if (options.fixedClock && !options.seed)
        options.seed = options.paced ? std::random_device()() : 1;
    return std::nullopt;
}

bool AddSession(Player& player, const InputScript& script) {
    const Options& options = player.options;
    if (!options.input.empty() || !options.replay.empty())
        player.Add(MakeInput(player, script));
    if (options.paced)
        player.Add(MakePace(player));
    if (!options.record.empty() && !add(player, MakeRecording(player)))
        return false;
    if (options.check)
        player.Add(MakeCheck(script));
    if (!options.film.empty() && !add(player, MakeFilm()))
        return false;
    // After what takes pictures: presenting begins where it ends.
    return options.trace.empty() || add(player, MakeTrace(player));
}

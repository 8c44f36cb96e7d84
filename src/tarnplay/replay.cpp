// Input scripts as an event source, and the comparison with recordings.
#include "replay.h"

#include "picturelog.h"
#include "pictures.h"
#include "player.h"

#include <SFML/Window/Window.hpp>
#include <cstdio>
#include <iterator>

namespace {

// ---- Playing ----

class Input : public Feature, public EventSource {
public:
    Input(Player& owner, const InputScript& played) : player(owner), script(played), next(0) {
        player.seams.events = this;
    }

    bool Poll(sf::Window& window, sf::Event& event) override {
        if (pollWindow(window, event))
            return true;
        // The first frames of the engine draw nothing: what is due in frame 1 waits for it.
        if (player.frameCount < kUndrawnFrames || next == script.events.size() ||
            script.events[next].frame > player.drawnFrames + 1)
            return false;
        event = script.events[next++].event;
        if (event.type == sf::Event::MouseMoved)
            pointer = {event.mouseMove.x, event.mouseMove.y};
        if (event.type == sf::Event::Resized)
            window.setSize({event.size.width, event.size.height});
        return true;
    }

    // What ends a run too early has been told already.
    void Ended(Player&) override {
        if (next == script.events.size() || player.findings.Status() != STATUS_FINE)
            return;
        const std::string& path =
            player.options.replay.empty() ? player.options.input : player.options.replay;
        fprintf(stderr,
                "%s: the run ended with frame %i, its events from frame %i on (%zu) have not happened.\n",
                path.c_str(), player.drawnFrames, script.events[next].frame, script.events.size() - next);
    }

    sf::Vector2i PointerPosition(const sf::Window&) override { return pointer; }
    void SetPointerPosition(const sf::Vector2i& position, const sf::Window&) override { pointer = position; }

private:
    // Empties the window's queue, or the system would take the program for dead. When the system changes the
    // window's size is left to chance, too.
    bool pollWindow(sf::Window& window, sf::Event& event) const {
        while (window.pollEvent(event))
            if ((event.type == sf::Event::Resized && !player.options.fixedClock) ||
                (event.type == sf::Event::KeyPressed && event.key.code == sf::Keyboard::Escape))
                return true;
        return false;
    }

    Player& player;
    const InputScript& script;
    std::size_t next; // index of the event that comes next
    sf::Vector2i pointer;
};

// ---- Comparing ----

class Check : public Feature {
public:
    explicit Check(const InputScript& recording) : script(recording) {}

    void PictureReady(Player& player) override {
        const auto recorded = script.hashes.find(player.drawnFrames);
        if (differs || recorded == script.hashes.end())
            return;
        picture.Read(player);
        if (picture.Hash() == recorded->second) {
            ++equal;
            return;
        }
        differs = true;
        fail(player,
             "the picture of frame " + std::to_string(player.drawnFrames) + " is not the recorded one");
        saveBoth(player, recorded->second);
        player.End(STATUS_PICTURE_DIFFERS);
    }

    void Ended(Player& player) override {
        // No more of them than --frames asks for.
        const auto end = script.hashes.upper_bound(player.options.frames);
        const auto missing = static_cast<std::size_t>(std::distance(script.hashes.begin(), end)) - equal;
        if (missing == 0)
            fprintf(stderr, "%s: all %zu pictures are the recorded ones.\n", player.options.replay.c_str(),
                    equal);
        else if (!differs)
            fail(player, "this run ended after frame " + std::to_string(player.drawnFrames) + ", " +
                             std::to_string(missing) + " recorded pictures were not reached");
    }

private:
    static void fail(Player& player, const std::string& what) {
        player.findings.Tell(STATUS_PICTURE_DIFFERS, player.options.replay + ": " + what);
    }

    void saveBoth(const Player& player, std::uint64_t recordedHash) const {
        const std::string& recording = player.options.replay;
        const std::string stem = recording + "-" + std::to_string(player.drawnFrames);
        const sf::Image actual = picture.Image();
        save(actual, stem + "-actual.png");
        Picture recorded;
        // The pictures' file may be missing, of another recording, or have been full before this frame.
        if (!ReadLoggedPicture(PicturesOf(recording), player.drawnFrames, recorded) ||
            recorded.Hash() != recordedHash) {
            fprintf(stderr, "ERR: %s does not hold the recorded picture.\n", PicturesOf(recording).c_str());
            return;
        }
        save(recorded.Image(), stem + "-recorded.png");
        save(ComparePictures(actual, recorded.Image(), 0).map, stem + "-difference.png");
    }

    static void save(const sf::Image& image, const std::string& path) {
        if (SavePicture(image, path))
            fprintf(stderr, "See %s\n", path.c_str());
    }

    const InputScript& script;
    std::size_t equal = 0; // pictures so far
    bool differs = false;
    Picture picture;
};

} // namespace

std::unique_ptr<Feature> MakeInput(Player& player, const InputScript& script) {
    return std::make_unique<Input>(player, script);
}

std::unique_ptr<Feature> MakeCheck(const InputScript& script) {
    return std::make_unique<Check>(script);
}

std::string PicturesOf(const std::string& recording) {
    return recording + ".pictures";
}

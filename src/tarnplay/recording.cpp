// Writing recordings, at a pace that a person can play.
#include "recording.h"

#include "inputscript.h"
#include "picturelog.h"
#include "player.h"
#include "replay.h"
#include "saves.h"

#include <SFML/Window/Mouse.hpp>
#include <chrono>
#include <cinttypes>
#include <set>
#include <thread>

namespace {

constexpr float kFirstMotion = 0.001f;                // game seconds; the engine ignores motions before
constexpr int kFlushEvery = 60;                       // frames; pictures that a crash may lose
constexpr std::uint64_t kMostPictures = 512ull << 20; // bytes of the pictures' file

// ---- Writing ----

class Recording : public Feature, public EventSource, public SaveStore {
public:
    explicit Recording(Player& owner)
        : player(owner), inner(owner.seams.events), saves(*owner.seams.saves),
          file(fopen(owner.options.record.c_str(), "w"), fclose),
          log(PicturesOf(owner.options.record), kMostPictures) {
        player.seams.events = this;
        player.seams.saves = this;
    }

    bool IsOpen() const { return file != nullptr; }

    void StateReady(Player&) override {
        if (headed)
            return;
        headed = true;
        fprintf(file.get(),
                "# Recorded by tarnplay; play it with --replay, or --input for the events alone.\n");
        fprintf(file.get(), "# script %s\nsize %i %i\nseed %u\n", player.options.script.c_str(), player.width,
                player.height, player.options.seed.value_or(0));
        if (!player.options.shaders)
            fprintf(file.get(), "shaders off\n");
        fflush(file.get());
    }

    // ---- Events ----

    // The first frames of the engine draw nothing: what happens in them is kept for frame 1.
    bool Poll(sf::Window& window, sf::Event& event) override {
        if (player.frameCount < kUndrawnFrames)
            return false;
        if (!(inner ? inner->Poll(window, event) : window.pollEvent(event)))
            return false;
        if (isWorthALine(event))
            write(event);
        return true;
    }

    sf::Vector2i PointerPosition(const sf::Window& window) override {
        const sf::Vector2i position = inner ? inner->PointerPosition(window) : sf::Mouse::getPosition(window);
        if (!isEcho(position))
            write(motionTo(position));
        if (player.gameTime >= kFirstMotion)
            seen = position;
        return position;
    }

    void SetPointerPosition(const sf::Vector2i& position, const sf::Window& window) override {
        if (inner)
            inner->SetPointerPosition(position, window);
        else
            sf::Mouse::setPosition(position, window);
    }

    // ---- Saves ----

    // A replay begins with what the script has found, and needs nothing of what it has written itself.
    void Load(const char* key, DataBlock* data) override {
        saves.Load(key, data);
        const std::string name = SaveName(key);
        if (name.empty() || !knownSaves.insert(name).second)
            return;
        fprintf(file.get(), "%s", SaveLines(name, data->CStr()).c_str());
        fflush(file.get());
    }

    void Save(const char* key, DataBlock* data) override {
        knownSaves.insert(SaveName(key));
        saves.Save(key, data);
    }

    // ---- Pictures ----

    void PictureReady(Player&) override {
        picture.Read(player);
        const std::uint64_t hash = picture.Hash();
        fprintf(file.get(), "%i hash %016" PRIx64 "\n", player.drawnFrames, hash);
        if (player.drawnFrames == 1 || hash != lastHash)
            log.Add(player.drawnFrames, picture);
        lastHash = hash;
        fflush(file.get());
        if (player.drawnFrames % kFlushEvery == 0)
            log.Flush();
    }

    void Ended(Player&) override {
        fprintf(file.get(), "frames %i\n", player.drawnFrames);
        log.Flush();
        if (log.FirstMissing() > 0)
            fprintf(stderr, "%s: no pictures from frame %i on.\n", PicturesOf(player.options.record).c_str(),
                    log.FirstMissing());
        if (fflush(file.get()) != 0 || ferror(file.get()))
            player.findings.Tell(STATUS_SCRIPT_ERROR, "cannot write " + player.options.record);
    }

private:
    static sf::Event motionTo(const sf::Vector2i& position) {
        sf::Event event{};
        event.type = sf::Event::MouseMoved;
        event.mouseMove = {position.x, position.y};
        return event;
    }

    // Putting the pointer into the centre makes a motion, too. It changes nothing where the place before was
    // the centre already.
    bool isEcho(const sf::Vector2i& position) const {
        const bool still =
            !player.mouseLocked || position == sf::Vector2i(player.width / 2, player.height / 2);
        return still && position == seen;
    }

    bool isWorthALine(const sf::Event& event) const {
        // A window tells its first size, too.
        if (event.type == sf::Event::Resized)
            return static_cast<int>(event.size.width) != player.width ||
                   static_cast<int>(event.size.height) != player.height;
        // A motion counts where the engine asks for the pointer's place.
        return event.type != sf::Event::MouseMoved;
    }

    // At once into the file: the event may be the one that makes the script hang.
    void write(const sf::Event& event) {
        const std::string line = InputLine({player.drawnFrames + 1, event});
        if (line.empty())
            return;
        fprintf(file.get(), "%s\n", line.c_str());
        fflush(file.get());
    }

    Player& player;
    EventSource* const inner; // null for the window's own events
    SaveStore& saves;
    std::unique_ptr<FILE, int (*)(FILE*)> file;
    PictureLog log;
    Picture picture;
    sf::Vector2i seen{-1, -1};        // the pointer at the last motion that the engine has followed
    std::set<std::string> knownSaves; // names that have been read or written
    std::uint64_t lastHash = 0;
    bool headed = false;
};

// ---- Pace ----

using RealTime = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kStall(100);

class Pace : public Feature, public FrameClock {
public:
    explicit Pace(Player& owner) : inner(*owner.seams.clock) { owner.seams.clock = this; }

    std::int64_t Now() override { return inner.Now(); }

    void WaitUntil(std::int64_t deadline) override {
        inner.WaitUntil(deadline);
        const std::chrono::nanoseconds shown(inner.Now());
        const RealTime::time_point now = RealTime::now();
        if (now > start + shown + kStall)
            start = now - shown;
        std::this_thread::sleep_until(start + shown);
    }

private:
    FrameClock& inner;
    RealTime::time_point start; // when the virtual clock showed 0, as far as nothing has stalled since
};

} // namespace

std::unique_ptr<Feature> MakeRecording(Player& player) {
    auto recording = std::make_unique<Recording>(player);
    if (recording->IsOpen())
        return recording;
    player.findings.Tell(STATUS_SCRIPT_ERROR, "cannot write " + player.options.record);
    return nullptr;
}

std::unique_ptr<Feature> MakePace(Player& player) {
    return std::make_unique<Pace>(player);
}

// Pictures of frames.
#include "pictures.h"

#include "opengl.h"
#include "player.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace {

// A colour channel of the map where it differs: at least kGlow, so that the smallest difference is seen.
constexpr int kGlow = 72;
constexpr int kGain = 8;
constexpr int kDarker = 4; // the actual picture behind it

sf::Uint8 shine(int difference) {
    return static_cast<sf::Uint8>(difference > 0 ? std::min(255, kGlow + kGain * difference) : 0);
}

sf::Color darkened(const sf::Color& color) {
    return {static_cast<sf::Uint8>(color.r / kDarker), static_cast<sf::Uint8>(color.g / kDarker),
            static_cast<sf::Uint8>(color.b / kDarker)};
}

// Adds one pixel to the difference and returns the map's.
sf::Color comparePixel(const sf::Color& actual, const sf::Color& expected, int tolerance,
                       PictureDifference& difference) {
    const int red = std::abs(actual.r - expected.r);
    const int green = std::abs(actual.g - expected.g);
    const int blue = std::abs(actual.b - expected.b);
    const int largest = std::max({red, green, blue});
    difference.largest = std::max(difference.largest, largest);
    if (largest <= tolerance)
        return darkened(actual);
    ++difference.pixels;
    return {shine(red), shine(green), shine(blue)};
}

std::string sizeText(const sf::Image& picture) {
    return std::to_string(picture.getSize().x) + " x " + std::to_string(picture.getSize().y);
}

std::string describe(const PictureDifference& difference, const sf::Image& actual,
                     const sf::Image& expected) {
    if (!difference.sameSize)
        return sizeText(actual) + " pixels instead of " + sizeText(expected);
    char text[96];
    const double all = static_cast<double>(actual.getSize().x) * actual.getSize().y;
    snprintf(text, sizeof text, "%d of %.0f pixels (%.2f %%), largest difference %d", difference.pixels, all,
             100 * difference.pixels / all, difference.largest);
    return text;
}

class Shots : public Feature {
public:
    void PictureReady(Player& player) override {
        const Options& options = player.options;
        const bool last = player.IsLastFrame();
        const bool wantsLast = last && !(options.capture.empty() && options.expected.empty());
        const auto isNow = [&](const Shot& shot) { return shot.frame == player.drawnFrames; };
        sawLast = sawLast || last;
        if (!wantsLast && std::none_of(options.shots.begin(), options.shots.end(), isNow))
            return;
        const sf::Image picture = ReadPicture(player);
        for (const Shot& shot : options.shots)
            if (isNow(shot))
                save(player, picture, shot.path);
        if (last && !options.capture.empty())
            save(player, picture, options.capture);
        if (last && !options.expected.empty())
            compare(player, picture);
    }

    // A picture that was asked for and never came is a failure, not a success that nobody looked at.
    void Ended(Player& player) override {
        const Options& options = player.options;
        for (const Shot& shot : options.shots)
            if (shot.frame > player.drawnFrames)
                player.findings.Tell(STATUS_SCRIPT_ERROR,
                                     "the script ended before the frame of " + shot.path);
        if (!options.capture.empty() && !sawLast)
            player.findings.Tell(STATUS_SCRIPT_ERROR, "no frame was drawn for " + options.capture);
        if (!options.expected.empty() && !sawLast)
            player.findings.Tell(STATUS_PICTURE_DIFFERS,
                                 "no frame was drawn to compare with " + options.expected);
    }

private:
    static void save(Player& player, const sf::Image& picture, const std::string& path) {
        if (!SavePicture(picture, path))
            player.End(STATUS_SCRIPT_ERROR, "cannot write " + path);
    }

    static void compare(Player& player, const sf::Image& actual) {
        const std::string& path = player.options.expected;
        sf::Image expected;
        const bool exists = std::filesystem::exists(path);
        if (!exists || !expected.loadFromFile(path)) {
            player.findings.Tell(STATUS_PICTURE_DIFFERS,
                                 (exists ? "cannot read " : "there is no ") + path + " to compare with");
            save(player, actual, BesidePath(path, "-actual"));
            return;
        }
        const PictureDifference difference = ComparePictures(actual, expected, player.options.tolerance);
        if (difference.sameSize && difference.pixels == 0)
            return;
        player.findings.Tell(STATUS_PICTURE_DIFFERS, "the picture differs from " + path + ": " +
                                                         describe(difference, actual, expected));
        save(player, actual, BesidePath(path, "-actual"));
        save(player, difference.map, BesidePath(path, "-difference"));
    }

    bool sawLast = false;
};

} // namespace

// ---- Reading and saving ----

sf::Image ReadPicture(const CoreThingy& core) {
    const int width = core.GetScreenWidth();
    const int height = core.GetScreenHeight();
    std::vector<sf::Uint8> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    for (std::size_t i = 3; i < pixels.size(); i += 4)
        pixels[i] = 255;
    sf::Image image;
    image.create(static_cast<unsigned>(width), static_cast<unsigned>(height), pixels.data());
    image.flipVertically(); // OpenGL's rows start at the bottom, an image's at the top
    return image;
}

bool SavePicture(const sf::Image& picture, const std::string& path) {
    if (picture.saveToFile(path))
        return true;
    fprintf(stderr, "ERR: cannot write %s.\n", path.c_str());
    return false;
}

std::string BesidePath(const std::string& path, const std::string& words) {
    std::filesystem::path beside(path);
    beside.replace_filename(beside.stem().string() + words + beside.extension().string());
    return beside.string();
}

// ---- Comparing ----

PictureDifference ComparePictures(const sf::Image& actual, const sf::Image& expected, int tolerance) {
    const sf::Vector2u sizeA = actual.getSize();
    const sf::Vector2u sizeB = expected.getSize();
    PictureDifference difference{sizeA == sizeB, 0, 0, {}};
    difference.map.create(std::max(sizeA.x, sizeB.x), std::max(sizeA.y, sizeB.y), sf::Color::White);
    for (unsigned y = 0; y < std::min(sizeA.y, sizeB.y); ++y)
        for (unsigned x = 0; x < std::min(sizeA.x, sizeB.x); ++x)
            difference.map.setPixel(
                x, y, comparePixel(actual.getPixel(x, y), expected.getPixel(x, y), tolerance, difference));
    return difference;
}

std::unique_ptr<Feature> MakeShots() {
    return std::make_unique<Shots>();
}

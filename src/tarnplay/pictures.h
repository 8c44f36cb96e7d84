// Pictures of frames: reading them from the back buffer, comparing and saving them.
#pragma once

#include <SFML/Graphics/Image.hpp>
#include <memory>
#include <string>

class CoreThingy;
class Feature;

/// @return the back buffer's picture, opaque, top row first
sf::Image ReadPicture(const CoreThingy& core);

/// Saves a picture in the format that the file's ending names.
/// @return false after one line on standard error
bool SavePicture(const sf::Image& picture, const std::string& path);

/// How two pictures differ. Colours count, transparency does not.
struct PictureDifference {
    bool sameSize;
    int pixels;    ///< that differ by more than the tolerance
    int largest;   ///< difference of a colour channel, 0 .. 255, tolerated or not
    sf::Image map; ///< as large as the larger side of either: what differs shines on the darkened actual
                   ///< picture, what only one of them has is white
};

/// @param tolerance largest difference of a colour channel that still equals
PictureDifference ComparePictures(const sf::Image& actual, const sf::Image& expected, int tolerance);

/// @return path with words between its stem and its ending: "a/b.png" and "-actual" make "a/b-actual.png"
std::string BesidePath(const std::string& path, const std::string& words);

/// @return the feature that saves the shots and the last frame that the options name, and compares the last
/// frame with the expected picture
std::unique_ptr<Feature> MakeShots();

// Pictures of frames as plain pixels, and picture logs: files that keep many of them exactly, each as what
// has changed since the one before.
#pragma once

#include <SFML/Graphics/Image.hpp>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

class CoreThingy;

/// One picture. Its memory is used again by the next one of the same size.
struct Picture {
    int width = 0, height = 0;
    std::vector<std::uint32_t> pixels; ///< the bytes red, green, blue, 255; the top row first

    /// Takes the picture in the back buffer.
    void Read(const CoreThingy& core);
    /// See PictureHash.
    std::uint64_t Hash() const;
    sf::Image Image() const;
};

// A log is a row of entries: four numbers of 32 bits (frame, width, height, bytes that follow) and the packed
// picture, which is a row of runs. A run begins with its kind and length as one number, 7 bits a byte, the
// lowest first, bit 7 telling that more follow: length * 4 + kind. Pixels of kind 0 are those of the picture
// before (at first, or after a change of the size: 0), those of kind 1 repeat the pixel to their left, and
// those of kind 2 follow as three bytes each.

/// Writes a log.
class PictureLog {
public:
    /// @param most bytes that the file may reach
    PictureLog(const std::string& path, std::uint64_t most);

    /// Appends a picture, unless the file has reached its limit or cannot be written.
    void Add(int frame, const Picture& picture);
    void Flush();
    /// @return the frame of the first picture that was left out, 0 for none
    int FirstMissing() const { return firstMissing; }

private:
    std::unique_ptr<FILE, int (*)(FILE*)> file; // null when it could not be opened
    std::uint64_t room;                         // bytes
    int firstMissing;
    Picture before;
    std::vector<unsigned char> packed;
};

/// Finds the picture that a log shows in a frame: the last one up to it.
/// @return false when there is none, or the file is damaged before it
bool ReadLoggedPicture(const std::string& path, int frame, Picture& picture);

// Input scripts: readable texts of what the keyboard and the pointer do in which frame, written by hand or by
// a recording.
#pragma once

#include <SFML/Window/Event.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// One thing a line; "#" begins a comment. Frames count from 1, the first one that is drawn. An event happens
// before its frame's Draw, events of one frame in the order of their lines; the frames may come in any order.
//
//     10 key Space down          a key's name in the window library, or its code 0 .. 100; "down" or "up"
//     12 pointer 170 120         pixels from the window's upper left corner
//     12 button left up          left, right, middle, x1, x2
//     15 wheel down              away from the hand is up
//     20 resize 400 300          the window's size from here on
//
// A recording says besides what the run was like:
//
//     size 320 240               the window at its start
//     seed 7                     of the random numbers
//     shaders off                left out when they were on
//     frames 90                  how many it had
//     save best.txt 1%20200      what a key of saved strings held when the script first read it
//     1 hash 44bc2cf5ad770999    of the frame's picture, see picturehash.h
//
// In a save's key and text, blanks, line ends, "%" and "#" are "%" and two hexadecimal digits. A text that is
// empty or missing is left out; a long one goes on in more lines of its key.

/// Something that happens before the Draw of one frame. A MouseMoved event stands for the pointer's new
/// place.
struct InputEvent {
    int frame;
    sf::Event event;
};

/// See the top of this file.
struct InputScript {
    std::vector<InputEvent> events;           ///< ascending frames
    std::map<int, std::uint64_t> hashes;      ///< by frame
    std::map<std::string, std::string> saves; ///< texts by key
    std::optional<unsigned> seed;
    int width = 0, height = 0; ///< pixels; 0: not said
    bool shaders = true;
    int frames = 0; ///< 0: not said

    /// Reads one line.
    /// @return what is wrong with it, empty for nothing
    std::string Read(const std::string& line);
    /// Reads a whole file.
    /// @return the first thing that is wrong with it, after "PATH:LINE: " or "PATH: "; empty for nothing
    std::string Load(const std::string& path);
};

/// @return the lines of a save; empty for a key that is too long to be a file's path
std::string SaveLines(const std::string& key, const std::string& text);

/// @return the line of an event without its line end, empty for one that no script can tell
std::string InputLine(const InputEvent& event);

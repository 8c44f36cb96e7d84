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
//     1 hash 44bc2cf5ad770999    of the frame's picture, see picturehash.h

/// Something that happens before the Draw of one frame. A MouseMoved event stands for the pointer's new
/// place.
struct InputEvent {
    int frame;
    sf::Event event;
};

/// See the top of this file.
struct InputScript {
    std::vector<InputEvent> events;      ///< ascending frames
    std::map<int, std::uint64_t> hashes; ///< by frame
    std::optional<unsigned> seed;
    int width = 0, height = 0; ///< pixels; 0: not said
    bool shaders = true;
    int frames = 0; ///< 0: not said

    /// Reads one line.
    /// @return what is wrong with it, empty for nothing
    std::string Read(const std::string& line);
    /// Reads a whole file. Prints the first thing that is wrong with it to standard error.
    bool Load(const std::string& path);
};

/// @return the line of an event without its line end, empty for one that no script can tell
std::string InputLine(const InputEvent& event);

// The trace of --trace: what a script's time goes into, as a file for the trace viewers of browsers.
#pragma once

#include <memory>

class Feature;
class Player;

// The file is a JSON object in Chrome's trace event format. On its one thread lie, each within the one
// before:
//
//   frame N       from one frame's beginning to the next; "no frame" before the first that is drawn
//   Draw, KeyHappen, OnError, wait, present; Init and "main chunk" before the first frame
//   engine functions: each call of 20 us or more, and each that reads a file
//   load          of a content file, with its path
//
// Shorter calls would make the file huge. Counters give them frame by frame: "API calls" and "API us", with a
// number for each function that has been used. Other counters are "draw calls" and "Lua KB"; a mark "garbage
// collected" stands where a cycle of Lua's collector has ended.

/// Call before the player runs, after what replaces its clock.
/// @return the feature that writes the trace to the file that the options name; null after telling that it
///         cannot be written
std::unique_ptr<Feature> MakeTrace(Player& player);

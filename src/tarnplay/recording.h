// Recordings: what the player does, written as an input script while it happens, with a hash of each frame's
// picture and the pictures themselves in a file beside it.
#pragma once

#include "feature.h"

#include <memory>

/// Puts itself before the player's event source and its save store, which it must have, and writes the file
/// of
/// --record.
/// @return null after telling that the file cannot be written
std::unique_ptr<Feature> MakeRecording(Player& player);

/// Puts itself before the player's virtual clock, so that its frames are not shorter than those of the real
/// clock: a person can play then. After a stall nothing is caught up.
std::unique_ptr<Feature> MakePace(Player& player);

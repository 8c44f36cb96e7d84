// Playing input scripts and recordings in place of the keyboard and the pointer, and comparing each picture
// with the recorded one.
#pragma once

#include "feature.h"
#include "inputscript.h"

#include <memory>
#include <string>

constexpr int kUndrawnFrames = 2; ///< frames of the engine before the first one that is drawn

/// Makes the script, which may be empty, the player's event source. Events of the window are dropped from
/// then on, but for Escape and, unless the clock is fixed, its size.
/// @param script must outlive the feature
std::unique_ptr<Feature> MakeInput(Player& player, const InputScript& script);

/// Ends the player at the first frame whose picture is not the recorded one, and writes both pictures.
std::unique_ptr<Feature> MakeCheck(const InputScript& script);

/// @return the file beside a recording that keeps its pictures
std::string PicturesOf(const std::string& recording);

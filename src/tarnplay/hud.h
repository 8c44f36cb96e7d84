// The head-up display of --hud: what a frame costs, drawn over the script's picture.
#pragma once

#include <memory>

class Feature;

/// @return the feature that shows the time of frames and of the script's Draw, calls of engine functions,
/// draw
///         calls and Lua's memory in the upper left corner. With a fixed clock it shows that clock's times.
std::unique_ptr<Feature> MakeHud();

// The canvas: what frames are drawn into where their pictures are read, in place of the window.
#pragma once

#include <memory>

class Feature;
struct Options;

// A window has pixels of its own only as far as the system likes: its size changes in the middle of a frame,
// before the engine hears of it, and a window manager may refuse the size that was asked for. What is read
// from it then is torn. The canvas has the engine's size, which changes between two frames, and is copied
// into the window.

/// @return whether what the options ask for reads pictures, or must draw the same ones again
bool NeedsCanvas(const Options& options);

/// @return the feature that draws into a canvas, or into the window where the driver has no framebuffer
/// objects. Add it before all that draws or reads pictures.
std::unique_ptr<Feature> MakeCanvas();

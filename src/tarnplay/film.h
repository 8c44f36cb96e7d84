// Films: each frame goes to ffmpeg, which packs them.
#pragma once

#include "feature.h"

#include <memory>
#include <string>

class Player;

/// @return what is wrong with a film's file name, empty for nothing
std::string CheckFilm(const std::string& path);

/// Films the player's frames into the file of --film, 60 a second; a GIF, whose clock counts hundredths of a
/// second, gets 50 of them. No sound.
/// @return null after telling that there is no ffmpeg
std::unique_ptr<Feature> MakeFilm(Player& player);

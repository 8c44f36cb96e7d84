// Saved strings of runs that repeat: they are read from the game's files once, and kept here from then on.
#pragma once

#include <map>
#include <memory>
#include <string>

class Feature;
class Player;

/// Makes itself the player's save store. A save that the run has neither read nor written yet comes from its
/// file, later ones from memory. Files are written only while a recording is played by hand.
/// @param saves what a recording has read, by SaveName; these files are not looked at
std::unique_ptr<Feature> MakeSaves(Player& player, const std::map<std::string, std::string>& saves);

/// @return one name for all keys that lead to the same file by their spelling; empty for a key that names
/// none
std::string SaveName(const char* key);

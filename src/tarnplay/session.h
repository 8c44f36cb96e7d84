// Sessions: what --input, --record, --replay, --film and --trace do together.
#pragma once

#include "inputscript.h"
#include "options.h"

#include <optional>

class Player;

/// Reads the script of --input or --replay, and settles what playing, recording and filming mean for the
/// other options: a recording and a film run on the virtual clock, and a replay takes what the command line
/// leaves open (seed, size, frames, shaders) from its recording.
/// @return nothing to go on; otherwise the exit status, and the reason is printed
std::optional<int> PrepareSession(Options& options, InputScript& script);

/// Adds the features that the options name. Call when the player has its clock.
/// @param script what PrepareSession has read; must outlive the player
/// @return false after one line on standard error when a file or program is missing
bool AddSession(Player& player, const InputScript& script);

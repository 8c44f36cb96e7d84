// Sessions: what --input, --record, --replay, --film and --trace do together.
#pragma once

#include "findings.h"
#include "inputscript.h"

class Player;

/// Reads the script of --input or --replay, and settles what playing, recording and filming mean for the
/// other options: a recording and a film run on the virtual clock, and a replay takes what the command line
/// leaves open (seed, size, frames, shaders) from its recording.
/// @return false after telling what is wrong with the script
bool PrepareSession(Options& options, InputScript& script, Findings& findings);

/// Adds the features that the options name. Call when the player has its clock.
/// @param script what PrepareSession has read; must outlive the player
/// @return false after telling which file or program is missing
bool AddSession(Player& player, const InputScript& script);

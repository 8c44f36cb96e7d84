// The game's root: the directory that holds scripts/ and media/, found from the script's path.
#pragma once

#include <string>

class Findings;
struct Options;

/// A script in its game.
struct GameScript {
    std::string root;   ///< absolute
    std::string script; ///< below scripts/ of the root, as the engine names it
};

/// Finds the script in the current directory as the engine would (NAME or scripts/NAME), then as a path of
/// any kind: the nearest directory above it that is called "scripts" lies in the root. Symbolic links are
/// taken as they are written, and followed only where that leads nowhere.
/// @param root the directory to use in place of what would be found, also for scripts outside its scripts/;
/// empty: none
/// @param problem becomes a line that tells what to do; untouched otherwise
/// @return false when there is no such script, it ends neither in .lua nor in .moon, or belongs to no root
bool FindGame(const std::string& script, const std::string& root, GameScript& found, std::string& problem);

/// Changes into the game's root, and the options' script becomes what the engine reads there.
/// @return false after telling why not
bool EnterGame(Options& options, Findings& findings);

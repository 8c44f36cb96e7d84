// Live editing: saved scripts and content are taken into the running game.
#pragma once

#include <memory>

class Feature;
class ProgramStart;
struct Options;

// A saved script is merged into the game by live.lua, which tells the rules. Where that cannot be sound the
// game begins anew in its window: after an edit of Init or of a file that declares C types for LuaJIT, after
// a start that failed, and for some content (see livecontent.h). A script that fails stands still, with the
// error over its last picture, until the next save.

/// @param start of this process, for a script that does not return
/// @param options whose script may lie outside scripts/
/// @return the feature that applies what is saved below scripts/ and media/ of the working directory
std::unique_ptr<Feature> MakeLive(const ProgramStart& start, const Options& options);

// Taking edited files below media/ into the running game.
#pragma once

#include <string>

class LuaThingy;

enum class ContentUpdate {
    Done,   ///< the game uses the file's new content, or does not use the file
    Failed, ///< the file cannot be used; the game goes on with what it had
    Restart ///< the new content cannot take the old one's place
};

/// Loads a file again wherever the host holds its content. Textures, meshes, shaders (also for the files that
/// they include), sounds and music keep their place in the game; a restart is needed for a mesh file whose
/// objects have other names or of which the script has placed copies, and for a shader that has never worked.
/// Call between frames.
/// @param path below the game's root
/// @param problem receives what is wrong after Failed; nothing for a shader that does not compile, about
///        which shaderProblems tells
ContentUpdate UpdateContent(LuaThingy& host, const std::string& path, std::string& problem);

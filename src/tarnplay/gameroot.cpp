// Finding the game's root.
#include "gameroot.h"

#include "options.h"

#include <cstdio>
#include <filesystem>
#include <vector>

namespace fs = std::filesystem;

namespace {

const char* const kScripts = "scripts";

// A script's name below scripts/, from NAME or scripts/NAME; empty for names that leave that directory.
std::string belowScripts(const fs::path& name) {
    const fs::path path = name.lexically_normal();
    if (path.is_absolute() || path.empty() || *path.begin() == "..")
        return "";
    return (*path.begin() == kScripts ? path.lexically_relative(kScripts) : path).string();
}

bool isFile(const fs::path& path) {
    std::error_code error;
    return fs::exists(path, error) && !fs::is_directory(path, error);
}

// As the engine finds it from the root.
bool findBelow(const fs::path& root, const std::string& script, GameScript& found) {
    const std::string name = belowScripts(script);
    if (name.empty() || !isFile(root / kScripts / name))
        return false;
    found = {root.string(), name};
    return true;
}

// Looks for scripts/ above an absolute path without "..", or for that of the root when one is given.
bool findAbove(const fs::path& script, const std::string& root, GameScript& found) {
    std::error_code error;
    for (fs::path above = script.parent_path(); above.has_relative_path(); above = above.parent_path()) {
        const fs::path game = above.parent_path();
        if (above.filename() != kScripts || !(root.empty() || fs::equivalent(game, root, error)))
            continue;
        found = {game.string(), script.lexically_relative(above).string()};
        return true;
    }
    return false;
}

// The spellings of a path without ".." that lead to the same file: as written, where it does not step back
// out of a link, and with all links followed.
std::vector<fs::path> spellings(const fs::path& path) {
    std::error_code error;
    std::vector<fs::path> result;
    const fs::path written = fs::absolute(path).lexically_normal();
    if (fs::equivalent(written, path, error))
        result.push_back(written);
    const fs::path followed = fs::canonical(path, error);
    if (!error)
        result.push_back(followed);
    return result;
}

std::string withoutSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

bool findByPath(const std::string& path, const std::string& root, GameScript& found, std::string& problem) {
    for (const fs::path& spelling : spellings(path))
        if (findAbove(spelling, root, found))
            return true;
    if (!root.empty()) { // whatever the author wants to run in that game
        found = {root, fs::relative(path, fs::path(root) / kScripts).string()};
        return true;
    }
    problem = path + " lies below no scripts directory: move it into that of a game (a directory that holds "
                     "scripts/ and media/), or name the game's directory with --root";
    return false;
}

// A script that is not there. The engine itself tells of one that is missing in a game.
bool nameMissing(const std::string& path, const fs::path& base, GameScript& found, std::string& problem) {
    const std::string name = belowScripts(path);
    if (!name.empty() && fs::is_directory(base / kScripts)) {
        found = {base.string(), name};
        return true;
    }
    problem = "there is no script " + path + ": looked for " + fs::absolute(path).string() + " and " +
              (base / kScripts / name).string() + "; --root names the game's directory";
    return false;
}

} // namespace

bool FindGame(const std::string& script, const std::string& root, GameScript& found, std::string& problem) {
    const std::string path = withoutSlashes(script);
    const fs::path base = root.empty() ? fs::current_path() : fs::path(withoutSlashes(root));
    if (findBelow(base, path, found))
        return true;
    if (!root.empty() && !fs::is_directory(base / kScripts)) {
        problem = base.string() + " holds no scripts directory; --root names a directory that does";
        return false;
    }
    return isFile(path) ? findByPath(path, root, found, problem) : nameMissing(path, base, found, problem);
}

bool EnterGame(Options& options) {
    GameScript game;
    std::string problem;
    std::error_code error;
    if (FindGame(options.script, options.root, game, problem)) {
        options.root = game.root;
        options.script = game.script;
        fs::current_path(game.root, error);
        if (!error)
            return true;
        problem = "cannot change into " + game.root + ": " + error.message();
    }
    fprintf(stderr, "ERR: %s.\n", problem.c_str());
    return false;
}

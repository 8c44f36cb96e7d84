// Finding the game's root.
#include "gameroot.h"

#include "findings.h"
#include "strfuncs.h"

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

bool isDirectory(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

// The engine runs whatever is no MoonScript as Lua; a name that ends otherwise is a slip here.
bool isScriptName(const std::string& path) {
    std::string ending = fs::path(path).extension().string();
    toLower(ending.data());
    return ending == ".lua" || ending == ".moon";
}

// What is wrong with a path that leads to no file.
std::string missingScript(const std::string& path, const fs::path& base) {
    const fs::path here = fs::absolute(path).lexically_normal();
    const fs::path below = (base / kScripts / belowScripts(path)).lexically_normal();
    if (isDirectory(here) || (!belowScripts(path).empty() && isDirectory(below)))
        return path + " is a directory";
    return "no such script: " + path + " (looked for " + here.string() +
           (here == below ? ")" : " and " + below.string() + ")") +
           (isDirectory(base / kScripts) ? "" : "; --root names the game's directory");
}

} // namespace

bool FindGame(const std::string& script, const std::string& root, GameScript& found, std::string& problem) {
    const std::string path = withoutSlashes(script);
    const fs::path base = root.empty() ? fs::current_path() : fs::path(withoutSlashes(root));
    const bool isBelow = findBelow(base, path, found);
    if (!isBelow && !root.empty() && !isDirectory(base / kScripts))
        problem = base.string() + " holds no scripts directory; --root names a directory that does";
    else if (!isBelow && !isFile(path))
        problem = missingScript(path, base);
    else if (!isScriptName(path))
        problem = path + " is neither .lua nor .moon";
    else
        return isBelow || findByPath(path, root, found, problem);
    return false;
}

bool EnterGame(Options& options, Findings& findings) {
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
    findings.Tell(STATUS_USAGE, problem);
    return false;
}

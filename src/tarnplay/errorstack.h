// The calls under way where a script has raised an error, copied out of the Lua state at that moment.
#pragma once

#include <string>
#include <vector>

struct lua_State;

/// One function in a script that was running.
struct StackFrame {
    std::string file;      ///< as opened, without a leading "./"; "" for code that came from a text
    std::string text;      ///< that text
    std::string shortName; ///< of the file or text, as messages begin
    std::string function;  ///< "main chunk", "function 'name'", ...; "" for a callback of the engine
    int line;              ///< of the compiled Lua
    int first, last;       ///< lines of the function
};

/// Where an error was raised and what for.
struct ErrorStack {
    std::string message;            ///< the value as a text, with the position that Lua put before it
    std::vector<StackFrame> frames; ///< innermost first; of functions in files or texts of the script only
    std::string builtin;            ///< name of the library function that raised it: "error", "insert"; or ""
    std::string compiling;          ///< file that the MoonScript compiler was asked to load, if any
};

/// Copies what the value on top of the stack and the calls below tell. Where the message comes from a
/// coroutine that died and is at hand there, the coroutine's calls come first. Needs six free stack slots,
/// raises nothing and leaves the stack as it is.
ErrorStack ReadErrorStack(lua_State* L);

/// @return the path without "./" before it
std::string PlainPath(const std::string& path);

// The MoonScript compiler inside the program: its Lua text, and what opens it in a Lua state. The text is
// made when the build is configured (src/moon); nothing here owns memory beyond what the state holds.
#pragma once

#include <cstdint>

struct lua_State;

// How a script's `require` comes to find both languages:
//
//   luaopen_moonscript   puts `lpeg` and the compiler's modules where `require` finds them without any file
//                        (package.loaded, package.preload), gives the state a second search path,
//                        package.moonpath, and inserts a loader for it at position 2 of package.loaders.
//   AppendLuaPath        adds the scripts directory to package.path and package.moonpath.
//
// So `require "enemy"` asks package.preload first, then looks for enemy.moon, then for enemy.lua.

/// The compiler as one Lua text of `package.preload` modules; no terminating zero.
extern const unsigned char moonscript_lua[];
/// Bytes in moonscript_lua.
extern const std::uint32_t moonscript_lua_len;

/// Opens LPeg and the compiler in a state that has its standard libraries open.
/// Leaves LPeg's values and the compiler's module table (or an error message) on the Lua stack.
/// @return 1, or 0 when the embedded text does not load or its main module fails.
std::int32_t luaopen_moonscript(lua_State* L);

/// Makes the value on top of the stack what `require(name)` yields, unless that name is already loaded.
/// The stack stays as it is.
void setloaded(lua_State* L, const char* name);

/// Appends ";" and text to the string package[field]; does nothing when that field holds no string.
/// @return always 0.
std::int32_t AppendLuaPath(lua_State* L, const char* field, const char* text);

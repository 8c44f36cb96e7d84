// Lua's C interface, wrapped for C++, whichever runtime the build chose (LuaJIT or plain Lua 5.1). Only
// sources include this file: the engine's headers know no more than `struct lua_State`.
#pragma once

extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}

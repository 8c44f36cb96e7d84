// Opens LPeg and the embedded MoonScript compiler in a Lua state, and extends the state's module search
// paths. Everything made here belongs to that state.
#include "moonscript.h"

#include "lua_api.h"
#include "memoryuse.h"

extern "C" int luaopen_lpeg(lua_State* L);

namespace {

constexpr int kEagerPause = 100; // per cent of the memory in use at which the next collection starts

// Runs the compiler's text and leaves what it returns. The state keeps its memory even when it is free, and
// all garbage of the reading would be there at once: it is collected as it comes.
bool runCompilerText(lua_State* L) {
    const int pause = lua_gc(L, LUA_GCSETPAUSE, kEagerPause);
    // Protected, since a foreign compiler version may want what this state lacks: games in Lua still run
    // then.
    const char* text = reinterpret_cast<const char*>(moonscript_lua);
    const bool ran =
        luaL_loadbuffer(L, text, moonscript_lua_len, "moonscript.lua") == 0 && lua_pcall(L, 0, 1, 0) == 0;
    lua_gc(L, LUA_GCSETPAUSE, pause);
    DropConstantPages(moonscript_lua, moonscript_lua_len);
    return ran;
}

} // namespace

std::int32_t luaopen_moonscript(lua_State* L) {
    luaopen_lpeg(L);
    setloaded(L, "lpeg");
    return runCompilerText(L) ? 1 : 0;
}

void setloaded(lua_State* L, const char* name) {
    const int top = lua_gettop(L);
    lua_getglobal(L, "package");
    lua_getfield(L, -1, "loaded");
    lua_getfield(L, -1, name);
    if (lua_isnil(L, -1)) {
        lua_pop(L, 1);
        lua_pushvalue(L, top);
        lua_setfield(L, -2, name);
    }
    lua_settop(L, top);
}

std::int32_t AppendLuaPath(lua_State* L, const char* field, const char* text) {
    const int top = lua_gettop(L);
    lua_getglobal(L, "package");
    lua_getfield(L, -1, field);
    if (lua_type(L, -1) == LUA_TSTRING) {
        lua_pushliteral(L, ";");
        lua_pushstring(L, text);
        lua_concat(L, 3);
        lua_setfield(L, -2, field);
    }
    lua_settop(L, top);
    return 0;
}

// The script host: the life of one Lua state from loading the script to its last frame.
#include "luathingy.h"

#include "drawjoin.h"
#include "lua_api.h"
#include "luathingy_api.h"
#include "moonscript.h"
#include "opengl.h"
#include "strfuncs.h"

#include <cstdio>
#include <string>

namespace {

constexpr int kFirstDrawnFrame = 3;
constexpr int kInitErrorLines = 3;

// Its address is the registry key of the library's own debug.traceback.
const char kTracebackKey = 0;

bool endsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

// Script text between double quotes, as Lua reads it.
std::string quotedForLua(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '\n' || c == '\r') {
            quoted += c == '\n' ? "\\n" : "\\r";
            continue;
        }
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

// Leaves the chunk's results on the stack, or the error of loading or running it.
// @return false for an error
bool runText(lua_State* L, const std::string& text) {
    return luaL_loadstring(L, text.c_str()) == 0 && lua_pcall(L, 0, LUA_MULTRET, 0) == 0;
}

// The value on top of the stack, for messages.
std::string topText(lua_State* L) {
    if (lua_gettop(L) == 0)
        return "(no value)";
    if (const char* text = lua_tostring(L, -1))
        return text;
    return std::string("(") + luaL_typename(L, -1) + ")";
}

// Makes room for a callback and its arguments. What a flood of keys has left on the stack is dropped when it
// would leave none.
void reserveStack(lua_State* L) {
    if (!lua_checkstack(L, LUA_MINSTACK))
        lua_settop(L, 0);
}

int readGlobal(lua_State* L) {
    lua_gettable(L, LUA_GLOBALSINDEX);
    return 1;
}

// Pushes a global, or nil. One that only a metatable of the globals supplies is read in protected mode, since
// such metatables often raise on unknown names.
void pushCallback(lua_State* L, const char* name) {
    lua_pushstring(L, name);
    lua_rawget(L, LUA_GLOBALSINDEX);
    if (!lua_isnil(L, -1))
        return;
    lua_pop(L, 1);
    lua_pushcfunction(L, readGlobal);
    lua_pushstring(L, name);
    if (lua_pcall(L, 1, 1, 0) != 0) {
        lua_pop(L, 1);
        lua_pushnil(L);
    }
}

void keepTraceback(lua_State* L) {
    lua_pushlightuserdata(L, const_cast<char*>(&kTracebackKey));
    lua_getglobal(L, "debug");
    lua_getfield(L, -1, "traceback");
    lua_remove(L, -2);
    lua_rawset(L, LUA_REGISTRYINDEX);
}

// Pushes debug.traceback as the script has it, or the library's own where the script took it away.
void pushTraceback(lua_State* L) {
    lua_pushliteral(L, "debug");
    lua_rawget(L, LUA_GLOBALSINDEX);
    if (lua_istable(L, -1)) {
        lua_pushliteral(L, "traceback");
        lua_rawget(L, -2);
        lua_remove(L, -2);
    }
    if (lua_isfunction(L, -1))
        return;
    lua_pop(L, 1);
    lua_pushlightuserdata(L, const_cast<char*>(&kTracebackKey));
    lua_rawget(L, LUA_REGISTRYINDEX);
}

} // namespace

LuaThingy::LuaThingy() : luaState(nullptr), screenshotDir("screenshots"), noise(0.0f), scriptFailed(false) {}

LuaThingy::~LuaThingy() {
    if (luaState)
        lua_close(luaState);
}

void LuaThingy::SetLoadScript(const char* name) {
    scriptName.Assign(name ? name : "");
}

// ---- Init ----

int LuaThingy::Init() {
    drawJoin.Reset();
    input.keys.SetDefaults();
    luaState = luaL_newstate();
    if (!luaState) {
        printf("ERR: no memory for the Lua state\n");
        return -1;
    }
    luaL_openlibs(luaState);
    keepTraceback(luaState);
    RegisterEngineFunctions(luaState, this);
    if (luaopen_moonscript(luaState) != 1)
        printf("ERR: Moonscript not enabled.\n");
    const char* prefix = privScriptPrefix();
    scriptsDir.Assign("scripts/");
    privExtendPaths();
    privRunScript(prefix);
    PublishHost(luaState, this);
    SetAmbientColorRGB(0, 0, 0);
    const int result = privCallInit();
    drawJoin.Sync();
    return result;
}

// Tells the script's type from its name and prepares what that type needs.
// @return what stands before the "dofile" that runs it
const char* LuaThingy::privScriptPrefix() {
    const std::string name = scriptName.CStr();
    if (endsWith(name, ".lua")) {
        printf("Scripttype: Lua\n");
        return "";
    }
    if (endsWith(name, ".moon")) {
        printf("Scripttype: Moon\n");
        runText(luaState, "moonscript = require \"moonscript\"");
        return "moonscript.";
    }
    printf("WAT THE FOOK TYPE OF FILE IS THIS, BRO?  er, Err: Incorrect file extension.\n");
    return "";
}

void LuaThingy::privExtendPaths() {
#ifndef _WIN32
    // The templates below name no file here; these do.
    AppendLuaPath(luaState, "moonpath", "./scripts/?.moon;./scripts/?");
    AppendLuaPath(luaState, "path", "./scripts/?.lua;./scripts/?");
#endif
    AppendLuaPath(luaState, "moonpath", ".\\scripts\\?.moon;.\\scripts\\?");
    AppendLuaPath(luaState, "path", ".\\scripts\\?.lua;.\\scripts\\?");
}

void LuaThingy::privRunScript(const char* prefix) {
    const std::string path = std::string(scriptsDir.CStr()) + scriptName.CStr();
    if (runText(luaState, std::string(prefix) + "dofile(" + quotedForLua(path) + ")"))
        return;
    scriptFailed = true;
    loadError.Assign(topText(luaState).c_str());
}

// A script that did not load has no Init: the lines after the first then show why, from below on the stack.
int LuaThingy::privCallInit() {
    pushCallback(luaState, "Init");
    if (lua_pcall(luaState, 0, 0, 0) == 0)
        return 0;
    scriptFailed = true;
    for (int line = 0; line < kInitErrorLines; ++line) {
        printf("Lua Err INIT: %s.\n", topText(luaState).c_str());
        if (lua_gettop(luaState) > 0)
            lua_pop(luaState, 1);
    }
    return -1;
}

// ---- Frame ----

int LuaThingy::TimeStep() {
    const int result = CoreThingy::TimeStep();
    if (frameCount < kFirstDrawnFrame || !luaState)
        return 0;
    SetupFrame();
    drawJoin.Adopt();
    const bool drawn = privCallDraw();
    drawJoin.Sync();
    lua_settop(luaState, 0);
    Present();
    return drawn ? result : -1;
}

void LuaThingy::Present() {
    glFlush();
    window.display();
}

// @return false when the script's Draw failed; its OnError has run then.
bool LuaThingy::privCallDraw() {
    reserveStack(luaState);
    pushTraceback(luaState);
    const int handler = lua_gettop(luaState);
    pushCallback(luaState, "Draw");
    lua_pushnumber(luaState, gameTime);
    lua_pushnumber(luaState, gameDelta);
    if (lua_pcall(luaState, 2, 0, handler) == 0)
        return true;
    scriptFailed = true;
    printf("Lua Err: %s.\n", topText(luaState).c_str());
    lua_settop(luaState, 0);
    pushCallback(luaState, "OnError");
    lua_pcall(luaState, 0, 0, 0);
    return false;
}

// ---- Keys ----

void LuaThingy::GameKeyHappen(int key, int state) {
    if (!luaState)
        return;
    reserveStack(luaState);
    pushTraceback(luaState); // stays until the frame empties the stack
    const int handler = lua_gettop(luaState);
    pushCallback(luaState, "KeyHappen");
    lua_pushnumber(luaState, key);
    lua_pushnumber(luaState, state);
    lua_pushnumber(luaState, gameTime);
    if (key == GAMEKEY_CAPTURE && state == GAMEKEY_PRESSED && typingMode == 0)
        CaptureScreen(width, height, screenshotDir.CStr());
    const bool handled = lua_pcall(luaState, 3, 0, handler) == 0;
    drawJoin.Sync();
    if (handled)
        return;
    printf("LUA ERR: %s.\n", topText(luaState).c_str());
    lua_pop(luaState, 1);
}

// The script host: the life of one Lua state from loading the script to its last frame.
#include "luathingy.h"

#include "drawjoin.h"
#include "lua_api.h"
#include "luathingy_api.h"
#include "memoryuse.h"
#include "moonscript.h"
#include "opengl.h"
#include "strfuncs.h"

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

constexpr int kFirstDrawnFrame = 3;
constexpr int kInitErrorLines = 3;

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
// @param handler of lua_pcall
// @return false for an error
bool runText(lua_State* L, const std::string& text, int handler) {
    return luaL_loadstring(L, text.c_str()) == 0 && lua_pcall(L, 0, LUA_MULTRET, handler) == 0;
}

// lua_pcall of a script's function, without results.
int callScript(const Seams& seams, ScriptStage stage, const char* name, lua_State* L, int arguments,
               int handler) {
    if (seams.calls)
        seams.calls->CallBegins(name);
    const int result = lua_pcall(L, arguments, 0, handler);
    if (seams.calls)
        seams.calls->CallEnded(name);
    if (result == LUA_ERRERR && handler > 0 && seams.errors) // a full stack left no room for the handler
        seams.errors->ScriptError(L, stage);
    return result;
}

// Argument and result: a number, which becomes text.
int numberText(lua_State* L) {
    lua_tolstring(L, 1, nullptr);
    return 1;
}

// The value on top of the stack, for messages. A number there becomes Lua's own text of it, which C's
// differs from in some digits, in protected mode: Lua may raise on its way.
std::string topText(lua_State* L) {
    if (lua_gettop(L) == 0)
        return "(no value)";
    if (lua_type(L, -1) == LUA_TNUMBER) {
        lua_rawgeti(L, LUA_REGISTRYINDEX, SLOT_NUMBER);
        lua_insert(L, -2);
        lua_pcall(L, 1, 1, 0);
    }
    if (lua_type(L, -1) == LUA_TSTRING)
        return lua_tolstring(L, -1, nullptr);
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
    lua_getglobal(L, "debug");
    lua_getfield(L, -1, "traceback");
    lua_rawseti(L, LUA_REGISTRYINDEX, SLOT_TRACEBACK);
    lua_pop(L, 1);
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
    lua_rawgeti(L, LUA_REGISTRYINDEX, SLOT_TRACEBACK);
}

// A message handler: tells the error sink, then calls the handler behind it, if any. Upvalues: sink, stage,
// that handler or nil.
int tellSink(lua_State* L) {
    const auto stage = static_cast<ScriptStage>(lua_tointeger(L, lua_upvalueindex(2)));
    static_cast<ErrorSink*>(lua_touserdata(L, lua_upvalueindex(1)))->ScriptError(L, stage);
    if (lua_isnil(L, lua_upvalueindex(3)))
        return 1;
    lua_pushvalue(L, lua_upvalueindex(3));
    lua_insert(L, 1);
    lua_pushinteger(L, 2); // the traceback begins above this function
    lua_call(L, 2, 1);
    return 1;
}

// Pushes the message handler of a call of the script: the traceback where the frame wants one, and with an
// error sink one that tells it first; nil when none is needed.
void pushHandler(lua_State* L, ErrorSink* sink, ScriptStage stage) {
    if (sink) {
        lua_pushlightuserdata(L, sink);
        lua_pushinteger(L, static_cast<lua_Integer>(stage));
    }
    if (stage == ScriptStage::Draw || stage == ScriptStage::KeyHappen)
        pushTraceback(L);
    else
        lua_pushnil(L);
    if (sink)
        lua_pushcclosure(L, tellSink, 3);
}

// Arguments: sink, stage, name of a callback. Results: its message handler and the callback.
int prepareCall(lua_State* L) {
    const auto stage = static_cast<ScriptStage>(lua_tointeger(L, 2));
    pushHandler(L, static_cast<ErrorSink*>(lua_touserdata(L, 1)), stage);
    pushCallback(L, static_cast<const char*>(lua_touserdata(L, 3)));
    return 2;
}

void keepFunction(lua_State* L, RegistrySlot slot, lua_CFunction function) {
    lua_pushcfunction(L, function);
    lua_rawseti(L, LUA_REGISTRYINDEX, slot);
}

// Pushes a message handler, if one is needed, and a callback. In protected mode: whatever allocates may let
// the garbage collector take a step, which calls __gc of the script's objects, and these may raise.
// @param handler receives the handler's index, 0 for none
// @return false, with the error alone pushed, when that has happened
bool pushCall(lua_State* L, ErrorSink* sink, ScriptStage stage, const char* name, int& handler) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, SLOT_PREPARE);
    lua_pushlightuserdata(L, sink);
    lua_pushinteger(L, static_cast<lua_Integer>(stage));
    lua_pushlightuserdata(L, const_cast<char*>(name));
    if (lua_pcall(L, 3, 2, 0) != 0)
        return false;
    handler = lua_isnil(L, -2) ? 0 : lua_gettop(L) - 1;
    if (handler == 0)
        lua_remove(L, -2);
    return true;
}

// Whether that is the name of something that cannot be read to its end: a pipe would wait for its writer, a
// device might not end. About directories Lua has words of its own.
bool isNoFile(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(nativePath(path.c_str()), error);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
           !std::filesystem::is_directory(status);
}

} // namespace

LuaThingy::LuaThingy() : luaState(nullptr), screenshotDir("screenshots"), noise(0.0f), scriptFailed(false) {}

LuaThingy::~LuaThingy() {
    if (!luaState)
        return;
    lua_close(luaState);
    if (!window.isOpen() || !window.setActive(true))
        return; // what is released here has gone with the window
    drawJoin.Release();
    renderTarget.Release();
}

void LuaThingy::SetLoadScript(const char* name) {
    scriptName.Assign(name ? name : "");
}

// ---- Init ----

lua_State* LuaThingy::NewState() {
    lua_State* const state = luaL_newstate();
    if (state)
        luaL_openlibs(state);
    return state;
}

int LuaThingy::Init() {
    drawJoin.Reset(shaderManager.GetShadersEnabled());
    input.keys.SetDefaults();
    luaState = NewState();
    if (!luaState) {
        printf("ERR: no memory for the Lua state\n");
        return -1;
    }
    keepTraceback(luaState);
    keepFunction(luaState, SLOT_PREPARE, prepareCall);
    keepFunction(luaState, SLOT_NUMBER, numberText);
    RegisterEngineFunctions(luaState, this);
    if (luaopen_moonscript(luaState) != 1)
        printf("ERR: Moonscript not enabled.\n");
    StateReady();
    const char* prefix = privScriptPrefix();
    scriptsDir.Assign("scripts/");
    privExtendPaths();
    privRunScript(prefix);
    ScriptRan();
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
        runText(luaState, "moonscript = require \"moonscript\"", 0);
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
    const std::string call = isNoFile(path)
                                 ? "error(" + quotedForLua("cannot read " + path + ": it is no file") + ", 0)"
                                 : std::string(prefix) + "dofile(" + quotedForLua(path) + ")";
    pushHandler(luaState, seams.errors, ScriptStage::Load);
    const int handler = lua_gettop(luaState);
    if (seams.calls)
        seams.calls->CallBegins("main chunk");
    const bool ran = runText(luaState, call, lua_isnil(luaState, handler) ? 0 : handler);
    if (seams.calls)
        seams.calls->CallEnded("main chunk");
    lua_remove(luaState, handler);
    if (ran)
        return;
    scriptFailed = true;
    loadError.Assign(topText(luaState).c_str());
}

// A script that did not load has no Init: the lines after the first then show why, from below on the stack.
int LuaThingy::privCallInit() {
    int handler = 0;
    const bool succeeded = pushCall(luaState, seams.errors, ScriptStage::Init, "Init", handler) &&
                           callScript(seams, ScriptStage::Init, "Init", luaState, 0, handler) == 0;
    if (handler > 0)
        lua_remove(luaState, handler);
    if (succeeded)
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
    SetupFrame(false);
    drawJoin.Adopt();
    drawJoin.OweDepthClear();
    audioManager.HoldStarts();
    const bool drawn = DrawFrame();
    audioManager.ReleaseStarts();
    drawJoin.SyncState();
    lua_settop(luaState, 0);
    Present();
    if (frameCount == kFirstDrawnFrame)
        LetHeapGrow();
    return drawn ? result : -1;
}

void LuaThingy::Present() {
    glFlush();
    window.display();
}

bool LuaThingy::DrawFrame() {
    reserveStack(luaState);
    int handler = 0;
    if (pushCall(luaState, seams.errors, ScriptStage::Draw, "Draw", handler)) {
        lua_pushnumber(luaState, gameTime);
        lua_pushnumber(luaState, gameDelta);
        if (callScript(seams, ScriptStage::Draw, "Draw", luaState, 2, handler) == 0)
            return true;
    }
    scriptFailed = true;
    printf("Lua Err: %s.\n", topText(luaState).c_str());
    lua_settop(luaState, 0);
    if (pushCall(luaState, nullptr, ScriptStage::Init, "OnError", handler))
        callScript(seams, ScriptStage::Draw, "OnError", luaState, 0, 0);
    return false;
}

// ---- Keys ----

void LuaThingy::GameKeyHappen(int key, int state) {
    if (!luaState)
        return;
    reserveStack(luaState);
    int handler = 0; // stays on the stack until the frame empties it
    const bool prepared = pushCall(luaState, seams.errors, ScriptStage::KeyHappen, "KeyHappen", handler);
    if (prepared) {
        lua_pushnumber(luaState, key);
        lua_pushnumber(luaState, state);
        lua_pushnumber(luaState, gameTime);
    }
    if (key == GAMEKEY_CAPTURE && state == GAMEKEY_PRESSED && typingMode == 0)
        CaptureScreen(width, height, screenshotDir.CStr());
    const bool handled =
        prepared && callScript(seams, ScriptStage::KeyHappen, "KeyHappen", luaState, 3, handler) == 0;
    drawJoin.Sync();
    if (handled)
        return;
    printf("LUA ERR: %s.\n", topText(luaState).c_str());
    lua_pop(luaState, 1);
}

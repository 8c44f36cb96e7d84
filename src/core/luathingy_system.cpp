// Engine functions for text, input, the window, saved strings, noise and paths.
#include "luathingy_api.h"

#include "drawjoin.h"
#include "lua_api.h"
#include "luathingy.h"

#include <algorithm>
#include <climits>

namespace {

int pushPair(lua_State* L, float x, float y) {
    lua_pushnumber(L, x);
    lua_pushnumber(L, y);
    return 2;
}

int pushPath(lua_State* L, DataBlock* path) {
    lua_pushstring(L, path ? path->CStr() : "");
    return 1;
}

void readSave(LuaThingy& host, const char* game, const char* key) {
    host.saveManager.SetGame(game);
    if (host.seams.saves)
        host.seams.saves->Load(key, &host.scratch.text);
    else
        host.saveManager.LoadData(key, &host.scratch.text);
}

void writeSave(LuaThingy& host, const char* game, const char* key, DataBlock* data) {
    host.saveManager.SetGame(game);
    if (host.seams.saves)
        host.seams.saves->Save(key, data);
    else
        host.saveManager.SaveData(key, data);
}

} // namespace

// ---- Text ----

int pubLCreateDrawText(lua_State* L) {
    NeedArgs(L, 1, "addtext");
    const char* text = ArgString(L, 1, "Text");
    GeomTextParams params;
    params.align = OptInt(L, 2, 1);
    params.spacing = ArgFloat(L, 3);
    params.lineSpacing = ArgFloat(L, 4);
    LuaThingy* host = HostOf(L);
    if (!host || !text)
        return 0;
    if (const int* font = host->textureManager.GetItem("font", ""))
        drawJoin.SetTexture(reinterpret_cast<const Texture*>(font)->texId);
    drawJoin.Draw(host->textManager.UseText(text, &params)->mesh);
    drawJoin.SetTexture(0);
    return 0;
}

// ---- Input and window ----

int pubLBindKey(lua_State* L) {
    NeedArgs(L, 2, "bindkey");
    const int gameKey = ArgInt(L, 1);
    const int key = ArgInt(L, 2);
    const bool shared = ArgInt(L, 3) != 0;
    if (LuaThingy* host = HostOf(L))
        host->SetKeyBind(gameKey, key, shared);
    return 0;
}

int pubLSetTypingMode(lua_State* L) {
    NeedArgs(L, 1, "settypingmode");
    const int mode = ArgInt(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->SetTypingMode(mode);
    return 0;
}

int pubLSetMouseVis(lua_State* L) {
    NeedArgs(L, 1, "vis");
    const int visible = ArgInt(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->SetMouseState(visible, -1);
    return 0;
}

// Above 1 the difference is negative and leaves the lock alone; below 0 every value locks.
int pubLSetMouseFree(lua_State* L) {
    NeedArgs(L, 1, "free");
    const int free = std::max(ArgInt(L, 1), -1);
    if (LuaThingy* host = HostOf(L))
        host->SetMouseState(-1, 1 - free);
    return 0;
}

int pubLGetMouseScalar(lua_State* L) {
    const LuaThingy* host = HostOf(L);
    if (!host)
        return pushPair(L, 0, 0);
    return pushPair(L, (host->mouseX - 0.5f) * 2 * host->orthoScaleX,
                    (1 - host->mouseY - 0.5f) * 2 * host->orthoScaleY);
}

int pubLGetMouseTotal(lua_State* L) {
    const LuaThingy* host = HostOf(L);
    return host ? pushPair(L, host->mouseTotalX, host->mouseTotalY) : pushPair(L, 0, 0);
}

// The y value has the opposite sign of what GetMouseTotal sums up: scripts rely on it.
int pubLGetMouseRelative(lua_State* L) {
    const LuaThingy* host = HostOf(L);
    return host ? pushPair(L, host->mouseRelX, -host->mouseRelY) : pushPair(L, 0, 0);
}

int pubLGetWindowSize(lua_State* L) {
    const LuaThingy* host = HostOf(L);
    lua_pushinteger(L, host ? host->width : 0);
    lua_pushinteger(L, host ? host->height : 0);
    return 2;
}

int pubLSetVSync(lua_State* L) {
    NeedArgs(L, 1, "");
    const bool on = ArgFlag(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->SetVSync(on);
    return 0;
}

// ---- Saved strings ----

int pubLReadSaveString(lua_State* L) {
    NeedArgs(L, 1, "savedata");
    const char* game = ArgString(L, 1, "ReadSaveString");
    const char* key = game ? ArgString(L, 2, "ReadSaveString") : nullptr;
    LuaThingy* host = HostOf(L);
    if (!host || !key) {
        lua_pushliteral(L, "");
        return 1;
    }
    host->scratch.text.Delete();
    readSave(*host, game, key);
    lua_pushstring(L, host->scratch.text.CStr());
    host->scratch.text.Delete();
    return 1;
}

int pubLWriteSaveString(lua_State* L) {
    NeedArgs(L, 1, "savedata");
    const char* game = ArgString(L, 1, "WriteSaveString");
    const char* key = game ? ArgString(L, 2, "WriteSaveString") : nullptr;
    const char* value = key ? ArgString(L, 3, "WriteSaveString") : nullptr;
    LuaThingy* host = HostOf(L);
    if (!host || !value)
        return 0;
    DataBlock data;
    data.Append(value, static_cast<int>(std::min<size_t>(lua_objlen(L, 3), INT_MAX)));
    writeSave(*host, game, key, &data);
    return 0;
}

// ---- Noise ----

// Scripts call it for whole landscapes. It reads its numbers without ArgFloat: the way there and back would
// take a tenth of its time.
int pubLNoise(lua_State* L) {
    if (lua_gettop(L) < 1)
        NeedArgs(L, 1, "noise");
    const float x = static_cast<float>(lua_tonumber(L, 1));
    const float y = static_cast<float>(lua_tonumber(L, 2));
    const float z = static_cast<float>(lua_tonumber(L, 3));
    LuaThingy* host = HostOf(L);
    lua_pushnumber(L, host ? host->noise.Noise(x, y, z) : 0);
    return 1;
}

int pubLSetNoiseSeed(lua_State* L) {
    NeedArgs(L, 1, "noisesetseed");
    const float seed = ArgFloat(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->noise.SetSeed(seed);
    return 0;
}

// ---- Paths ----

int pubLGetScriptsPath(lua_State* L) {
    LuaThingy* host = HostOf(L);
    return pushPath(L, host ? &host->scriptsDir : nullptr);
}

int pubLGetMediaPath(lua_State* L) {
    LuaThingy* host = HostOf(L);
    return pushPath(L, host ? &host->mediaPath : nullptr);
}

int pubLSetScreenshotDir(lua_State* L) {
    NeedArgs(L, 1, "screenshotdir");
    const char* directory = ArgString(L, 1, "SetScreenshotDir");
    LuaThingy* host = HostOf(L);
    if (host && directory)
        host->screenshotDir.Assign(directory);
    return 0;
}

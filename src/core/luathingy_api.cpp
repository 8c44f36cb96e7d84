// The table of engine functions, and the rules by which they all read their arguments. Owns nothing.
#include "luathingy_api.h"

#include "lua_api.h"
#include "luathingy.h"
#include "manager.h"
#include "numericfuncs.h"

#include <cstdio>

namespace {

constexpr char kHostGlobal[] = "__mLuaThingy";

// The host whose functions were registered last. A process runs one script at a time.
LuaThingy* liveHost = nullptr;

struct EngineFunction {
    const char* name;
    lua_CFunction function;
};

constexpr EngineFunction kEngineFunctions[] = {
    {"Geom", pubLDrawGeom},
    {"LookAt", pubLLookAt},
    {"Move", pubLTranslate},
    {"Rotate", pubLRotate},
    {"Scale", pubLScale},
    {"Push", pubLPush},
    {"Pop", pubLPop},
    {"GMove", pubLGTranslate},
    {"GRotate", pubLGRotate},
    {"GScale", pubLGScale},
    {"GPush", pubLGPush},
    {"GPop", pubLGPop},
    {"GReset", pubLGReset},
    {"NewGeom", pubLNewGeom},
    {"Place", pubLPlace},
    {"TMove", pubLTTranslate},
    {"TRotate", pubLTRotate},
    {"TScale", pubLTScale},
    {"TPush", pubLTPush},
    {"TPop", pubLTPop},
    {"TReset", pubLTReset},
    {"AddTex", pubLAddTex},
    {"Tex", pubLBindTex},
    {"AddGeom", pubLAddGeom},
    {"AddShad", pubLAddShad},
    {"Shad", pubLBindShad},
    {"SetShadersEnabled", pubLSetShadersEnabled},
    {"GetShadersEnabled", pubLGetShadersEnabled},
    {"GetNewAudio", pubLNewAudio},
    {"SetAudioData", pubLSetAudioData},
    {"GetAudioData", pubLGetAudioData},
    {"AddAudio", pubLAddAudio},
    {"Audio", pubLPlayAudio},
    {"StopAudio", pubLStopAudio},
    {"AudioProps", pubLAudioProps},
    {"AddMusic", pubLAddMusic},
    {"Music", pubLPlayMusic},
    {"StopMusic", pubLStopMusic},
    {"MusicProps", pubLMusicProps},
    {"DeclareUniform", pubLDeclareUniform},
    {"Uniform", pubLUpdateUniform},
    {"SetCam", pubLSetCam},
    {"Set2DCamScale", pubLSet2DCamScale},
    {"SetLighting", pubLSetLighting},
    {"SetLight", pubLSetLight},
    {"SetLightColor", pubLSetLightColor},
    {"SetLightAtten", pubLSetLightAtten},
    {"Color", pubLColor},
    {"Blend", pubLBlend},
    {"Depth", pubLSetDepth},
    {"Logic", pubLLogic},
    {"BackColor", pubLSetClearColor},
    {"Culling", pubLSetBackCull},
    {"DrawLine", pubLDrawLine},
    {"SetAmbientColor", pubLSetAmbientColor},
    {"GetScriptsPath", pubLGetScriptsPath},
    {"GetMediaPath", pubLGetMediaPath},
    {"GetMouseScalar", pubLGetMouseScalar},
    {"GetMouseTotal", pubLGetMouseTotal},
    {"GetWindowSize", pubLGetWindowSize},
    {"GetMouseRelative", pubLGetMouseRelative},
    {"SetMouseVis", pubLSetMouseVis},
    {"SetMouseFree", pubLSetMouseFree},
    {"BeginRTTFull", pubLBeginRTT},
    {"EndRTTFull", pubLEndRTT},
    {"GetNoise", pubLNoise},
    {"SetNoiseSeed", pubLSetNoiseSeed},
    {"Quad", pubLQuad},
    {"ReadSaveString", pubLReadSaveString},
    {"WriteSaveString", pubLWriteSaveString},
    {"SetSpaceMapper", pubLSetSpaceMapper},
    {"SpaceMapperReset", pubLSpaceReset},
    {"AddSpaceObject", pubLAddSpaceObject},
    {"SpaceEvent", pubLSpaceEvent},
    {"MapPoint", pubLMapPoint},
    {"MapLine", pubLMapLine},
    {"DebugDrawSegments", pubLDebugDrawSegments},
    {"Set2DSpaceBounds", pubLSet2DSpaceBounds},
    {"Text", pubLCreateDrawText},
    {"BindKey", pubLBindKey},
    {"TypingMode", pubLSetTypingMode},
    {"SetScreenshotDir", pubLSetScreenshotDir},
    {"SetVSync", pubLSetVSync},
};

void reportNoHost(LuaThingy* host, bool overwritten) {
    if (host->scratch.reportedNoHost)
        return;
    host->scratch.reportedNoHost = true;
    if (overwritten)
        printf("ERR: the script changed %s, engine functions do nothing now\n", kHostGlobal);
    else
        printf("ERR: engine function called before Init\n");
}

// As MediaManager::Use by global index selects: -1 means no item, an unknown index is reported.
bool selectByIndex(MediaManager& manager, int index, int*& item) {
    if (index >= 0 && index < manager.itemCount) {
        item = manager.GetItem(index);
        return true;
    }
    item = nullptr;
    if (index == -1)
        return manager.unbindOnNone;
    manager.Use(index);
    return false;
}

} // namespace

// ---- The host ----

void RegisterEngineFunctions(lua_State* L, LuaThingy* host) {
    lua_pushlstring(L, kHostGlobal, sizeof(kHostGlobal) - 1);
    lua_rawseti(L, LUA_REGISTRYINDEX, SLOT_HOST_NAME);
    liveHost = host;
    for (const EngineFunction& entry : kEngineFunctions) {
        lua_pushcclosure(L, entry.function, 0);
        lua_setfield(L, LUA_GLOBALSINDEX, entry.name);
    }
}

const char* EngineFunctionName(int place) {
    constexpr int count = sizeof(kEngineFunctions) / sizeof(kEngineFunctions[0]);
    return place >= 0 && place < count ? kEngineFunctions[place].name : nullptr;
}

// Raw access in both directions: a script may give its globals a metatable that raises on unknown names. The
// name is at hand, since making one may raise as well.
void PublishHost(lua_State* L, LuaThingy* host) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, SLOT_HOST_NAME);
    lua_pushlightuserdata(L, host);
    lua_rawset(L, LUA_GLOBALSINDEX);
    host->scratch.published = true;
}

LuaThingy* HostOf(lua_State* L) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, SLOT_HOST_NAME);
    lua_rawget(L, LUA_GLOBALSINDEX);
    const bool published = lua_touserdata(L, -1) == liveHost;
    lua_pop(L, 1);
    if (published)
        return liveHost;
    reportNoHost(liveHost, liveHost->scratch.published);
    return nullptr;
}

// ---- Arguments ----

int NeedArgs(lua_State* L, int minimum, const char* name) {
    const int count = lua_gettop(L);
    if (count < minimum)
        printf("ERR: too few args: %s\n", name);
    return count;
}

float ArgFloat(lua_State* L, int index) {
    return static_cast<float>(lua_tonumber(L, index));
}

int ArgInt(lua_State* L, int index) {
    return TruncToInt(lua_tonumber(L, index));
}

bool ArgFlag(lua_State* L, int index) {
    return lua_tonumber(L, index) != 0;
}

float OptFloat(lua_State* L, int index, float absent) {
    return lua_isnone(L, index) ? absent : ArgFloat(L, index);
}

int OptInt(lua_State* L, int index, int absent) {
    return lua_isnone(L, index) ? absent : ArgInt(L, index);
}

bool OptFlag(lua_State* L, int index, bool absent) {
    return lua_isnone(L, index) ? absent : ArgFlag(L, index);
}

RotateArgs ReadRotateArgs(lua_State* L) {
    const int count = NeedArgs(L, 1, "");
    if (count < 2)
        return {V3(0, 0, 1), ArgFloat(L, 1)};
    return {ReadV3(L, 1), ArgFloat(L, 4)};
}

V3 ReadScaleArgs(lua_State* L) {
    const int count = NeedArgs(L, 1, "");
    const V3 factors = ReadV3(L, 1);
    return count < 2 ? V3(factors.x, factors.x, factors.x) : factors;
}

V3 ReadV3(lua_State* L, int index) {
    return V3(ArgFloat(L, index), ArgFloat(L, index + 1), ArgFloat(L, index + 2));
}

bool IsNumber(lua_State* L, int index) {
    return lua_type(L, index) == LUA_TNUMBER;
}

const char* ArgString(lua_State* L, int index, const char* function) {
    const char* text = lua_tostring(L, index);
    if (!text)
        printf("ERR: missing string argument: %s\n", function);
    return text;
}

const char* ArgGroup(lua_State* L, int index, const char* function) {
    return lua_isnoneornil(L, index) ? "" : ArgString(L, index, function);
}

// ---- Content ----

int AddContentItem(lua_State* L, MediaManager* manager, const char* function, const char* shortName) {
    const int count = NeedArgs(L, 1, shortName);
    const char* file = ArgString(L, 1, function);
    const char* group = count == 2 ? ArgGroup(L, 2, function) : "";
    int first = -1;
    if (manager && file && group)
        manager->AddContent(file, group, &first, nullptr);
    lua_pushinteger(L, first);
    return 1;
}

bool SelectItem(lua_State* L, MediaManager* manager, const char* function, int*& item) {
    const int count = lua_gettop(L);
    if (!manager || count < 1 || count > 2)
        return false;
    if (count == 1 && IsNumber(L, 1))
        return selectByIndex(*manager, ArgInt(L, 1), item);
    const char* group = count == 2 ? ArgGroup(L, 1, function) : "";
    if (!group)
        return false;
    const bool byIndex = IsNumber(L, count);
    const char* name = byIndex ? nullptr : ArgString(L, count, function);
    item = byIndex ? manager->GetItem(ArgInt(L, count), group)
           : name  ? manager->GetItem(name, group)
                   : nullptr;
    return item != nullptr;
}

void UseItem(lua_State* L, MediaManager* manager, const char* function) {
    int* item = nullptr;
    if (SelectItem(L, manager, function, item))
        manager->priv_Use(item);
}

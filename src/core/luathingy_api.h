// The engine functions of scripts, and the reading rules that they share. For the script host's own sources
// only: the rest of the engine knows LuaThingy.
#pragma once

#include "tnmath.h"

struct lua_State;
class LuaThingy;
class MediaManager;

// All engine functions have one shape: read the arguments into locals, call the engine once, push the
// results, return their count. How an argument is read is decided here alone.
//
//   - Numbers are read with Lua's own conversion: a number, or a string that holds one. Everything else reads
//     as 0: nil, a missing argument, tables, true as well as false. Flags are numbers too; other than 0 is
//     on.
//   - Whole numbers are cut toward zero; what no int can hold becomes the nearest int, NaN becomes 0.
//   - Strings may be given as numbers. Anything else is a missing string: one line is printed and the call
//     does nothing.
//   - Too few arguments print one line, and the call goes on with the missing ones read as above.

// ---- The host ----

/// Integer keys of the registry that belong to the engine, below those that luaL_ref hands out. Addresses as
/// keys would give the registry another layout in each run, and move later objects in memory.
enum RegistrySlot {
    SLOT_HOST_NAME = -1, ///< the global's name as Lua's own string: no call interns it
    SLOT_TRACEBACK = -2, ///< the library's own debug.traceback
    SLOT_PREPARE = -3,   ///< the function that prepares calls of the script
    SLOT_NUMBER = -4     ///< the function that turns numbers into text
};

/// Makes all engine functions globals of L, in their fixed order, each with what HostOf needs.
void RegisterEngineFunctions(lua_State* L, LuaThingy* host);

/// @return the name of the engine function that is registered at a place from 0 on; null after the last
const char* EngineFunctionName(int place);

/// Stores the host in the global "__mLuaThingy", from where HostOf takes it.
void PublishHost(lua_State* L, LuaThingy* host);

/// The host, as the global "__mLuaThingy" has it; for running engine functions only.
/// @return null, with one line printed per script, when the global is not there yet or is not L's host.
LuaThingy* HostOf(lua_State* L);

// ---- Arguments ----

/// Counts the call's arguments; fewer than minimum print "ERR: too few args: " and name.
int NeedArgs(lua_State* L, int minimum, const char* name);

float ArgFloat(lua_State* L, int index);
int ArgInt(lua_State* L, int index);
bool ArgFlag(lua_State* L, int index);

/// The same for arguments whose absence does not mean 0. One given as nil is not absent: it reads as 0.
float OptFloat(lua_State* L, int index, float absent);
int OptInt(lua_State* L, int index, int absent);
bool OptFlag(lua_State* L, int index, bool absent);

/// A rotation as the functions of that name take it: halfTurns alone about +z, or ax, ay, az, halfTurns.
struct RotateArgs {
    V3 axis;
    float halfTurns; // 1 is 180 degrees
};
RotateArgs ReadRotateArgs(lua_State* L);

/// Scale factors: one for all three axes, or sx, sy, sz. Two arguments leave sz missing, that is 0.
V3 ReadScaleArgs(lua_State* L);

/// Three coordinates or colour parts from index on.
V3 ReadV3(lua_State* L, int index);

/// Whether the argument is of Lua type number; a string that holds one is not.
bool IsNumber(lua_State* L, int index);

/// @param function name for the message about a missing string
/// @return null when it is missing; valid while the argument is on the stack
const char* ArgString(lua_State* L, int index, const char* function);

/// A group's name; nil or no argument is the default group "".
const char* ArgGroup(lua_State* L, int index, const char* function);

// ---- Content ----

/// The call FUNCTION(file [, group]): registers a file, pushes the index of its first item (-1 when there is
/// no manager or file) and returns 1. The group counts only in a call with exactly two arguments.
/// @param shortName name for the message about too few arguments
int AddContentItem(lua_State* L, MediaManager* manager, const char* function, const char* shortName);

/// The call FUNCTION(index), (name), (group, index) or (group, name): selects an item of manager and loads it
/// if need be. The Lua type of the last argument decides; any other number of arguments, or a null manager,
/// selects nothing.
/// @param item receives what is to be used; null for a selection that uses no item, which unbinds
/// @return false when there is nothing to do
bool SelectItem(lua_State* L, MediaManager* manager, const char* function, int*& item);

/// The same, and uses what is selected.
void UseItem(lua_State* L, MediaManager* manager, const char* function);

// ---- Matrices, camera, render state, lights (luathingy_render.cpp) ----

int pubLPush(lua_State* L);            ///< Push()
int pubLPop(lua_State* L);             ///< Pop()
int pubLTranslate(lua_State* L);       ///< Move(x [, y [, z]])
int pubLRotate(lua_State* L);          ///< Rotate(halfTurns) or Rotate(ax, ay, az, halfTurns)
int pubLScale(lua_State* L);           ///< Scale(s) or Scale(sx, sy, sz)
int pubLLookAt(lua_State* L);          ///< LookAt(ex, ey, ez, tx, ty, tz)
int pubLSetCam(lua_State* L);          ///< SetCam(2 [, fit]) or SetCam(3 [, fov])
int pubLSet2DCamScale(lua_State* L);   ///< Set2DCamScale(halfExtent)
int pubLColor(lua_State* L);           ///< Color(grey), Color(r, g [, b]) or Color(r, g, b, a)
int pubLBlend(lua_State* L);           ///< Blend(mode) or Blend(source, destination)
int pubLSetDepth(lua_State* L);        ///< Depth(test [, write])
int pubLLogic(lua_State* L);           ///< Logic(op), off below 0
int pubLSetClearColor(lua_State* L);   ///< BackColor(r, g, b, a)
int pubLSetBackCull(lua_State* L);     ///< Culling(flag)
int pubLDrawLine(lua_State* L);        ///< DrawLine(x1, y1, z1, x2, y2, z2)
int pubLQuad(lua_State* L);            ///< Quad()
int pubLSetLighting(lua_State* L);     ///< SetLighting(flag)
int pubLSetLight(lua_State* L);        ///< SetLight(light, x, y, z)
int pubLSetLightColor(lua_State* L);   ///< SetLightColor(light, r, g, b)
int pubLSetLightAtten(lua_State* L);   ///< SetLightAtten(light, constant, linear, quadratic)
int pubLSetAmbientColor(lua_State* L); ///< SetAmbientColor(r, g, b)
int pubLBeginRTT(lua_State* L);        ///< BeginRTTFull()
int pubLEndRTT(lua_State* L);          ///< EndRTTFull()

// ---- Content, shaders, geometry stacks (luathingy_content.cpp) ----

int pubLAddTex(lua_State* L);   ///< AddTex(file [, group]) -> index
int pubLAddGeom(lua_State* L);  ///< AddGeom(file [, group]) -> index
int pubLAddShad(lua_State* L);  ///< AddShad(file [, group]) -> index
int pubLBindTex(lua_State* L);  ///< Tex(item), see UseItem
int pubLDrawGeom(lua_State* L); ///< Geom(item)
int pubLBindShad(lua_State* L); ///< Shad(item)
int pubLNewGeom(lua_State* L);  ///< NewGeom([[group,] name]) -> index
int pubLPlace(lua_State* L);    ///< Place(source, target), Place(name, target), Place(group, name, target)
int pubLSetShadersEnabled(lua_State* L); ///< SetShadersEnabled(flag)
int pubLGetShadersEnabled(lua_State* L); ///< GetShadersEnabled() -> 1 or 0
int pubLDeclareUniform(lua_State* L);    ///< DeclareUniform(id, name [, count [, isFloat]])
int pubLUpdateUniform(lua_State* L);     ///< Uniform(index, value)
int pubLGPush(lua_State* L);             ///< GPush()
int pubLGPop(lua_State* L);              ///< GPop()
int pubLGReset(lua_State* L);            ///< GReset()
int pubLGTranslate(lua_State* L);        ///< GMove(x [, y [, z]])
int pubLGRotate(lua_State* L);           ///< GRotate(halfTurns) or GRotate(ax, ay, az, halfTurns)
int pubLGScale(lua_State* L);            ///< GScale(s) or GScale(sx, sy, sz)
int pubLTPush(lua_State* L);             ///< TPush()
int pubLTPop(lua_State* L);              ///< TPop()
int pubLTReset(lua_State* L);            ///< TReset()
int pubLTTranslate(lua_State* L);        ///< TMove(u [, v])
int pubLTRotate(lua_State* L);           ///< TRotate(ax, ay, az, radians)
int pubLTScale(lua_State* L);            ///< TScale(su [, sv])

// ---- Sound (luathingy_sound.cpp) ----

int pubLAddAudio(lua_State* L);     ///< AddAudio(file [, group]) -> index
int pubLNewAudio(lua_State* L);     ///< GetNewAudio(name [, group]) -> index
int pubLSetAudioData(lua_State* L); ///< SetAudioData(item, samples, channels, rate, step)
int pubLGetAudioData(lua_State* L); ///< GetAudioData(item) -> samples
int pubLPlayAudio(lua_State* L);    ///< Audio(item) -> channel
int pubLStopAudio(lua_State* L);    ///< StopAudio(channel)
int pubLAudioProps(lua_State* L);   ///< AudioProps(channel, volume [, pitch [, loop [, x, y, z]]])
int pubLAddMusic(lua_State* L);     ///< AddMusic(slot, file)
int pubLPlayMusic(lua_State* L);    ///< Music(slot)
int pubLStopMusic(lua_State* L);    ///< StopMusic(slot)
int pubLMusicProps(lua_State* L);   ///< MusicProps(slot, volume [, pitch [, loop [, x, y, z]]])

// ---- Text, input, window, saves, noise, paths (luathingy_system.cpp) ----

int pubLCreateDrawText(lua_State* L);   ///< Text(text [, align [, spacing [, lineSpacing]]])
int pubLBindKey(lua_State* L);          ///< BindKey(gameKey, key [, shared])
int pubLSetTypingMode(lua_State* L);    ///< TypingMode(mode)
int pubLSetMouseVis(lua_State* L);      ///< SetMouseVis(visible)
int pubLSetMouseFree(lua_State* L);     ///< SetMouseFree(free)
int pubLGetMouseScalar(lua_State* L);   ///< GetMouseScalar() -> x, y in 2D camera units, y upwards
int pubLGetMouseTotal(lua_State* L);    ///< GetMouseTotal() -> x, y of all motion, y upwards
int pubLGetMouseRelative(lua_State* L); ///< GetMouseRelative() -> x, y of this frame's motion, y downwards
int pubLGetWindowSize(lua_State* L);    ///< GetWindowSize() -> width, height
int pubLSetVSync(lua_State* L);         ///< SetVSync(flag)
int pubLReadSaveString(lua_State* L);   ///< ReadSaveString(game, key) -> text
int pubLWriteSaveString(lua_State* L);  ///< WriteSaveString(game, key, text)
int pubLNoise(lua_State* L);            ///< GetNoise(x [, y, z]) -> value
int pubLSetNoiseSeed(lua_State* L);     ///< SetNoiseSeed(seed)
int pubLGetScriptsPath(lua_State* L);   ///< GetScriptsPath() -> directory
int pubLGetMediaPath(lua_State* L);     ///< GetMediaPath() -> directory
int pubLSetScreenshotDir(lua_State* L); ///< SetScreenshotDir(directory)

// ---- Space mapping (luathingy_space.cpp) ----

int pubLSetSpaceMapper(lua_State* L);   ///< SetSpaceMapper(1)
int pubLSet2DSpaceBounds(lua_State* L); ///< Set2DSpaceBounds(x1, y1, x2, y2 [, columns, rows])
int pubLAddSpaceObject(lua_State* L);   ///< AddSpaceObject("line2d", x1, y1, x2, y2)
int pubLSpaceEvent(lua_State* L);       ///< SpaceEvent(name)
int pubLSpaceReset(lua_State* L);       ///< SpaceMapperReset([keepGrid])
int pubLMapPoint(lua_State* L); ///< MapPoint(from, motion, radius, contact, result, velocity) -> touches
int pubLMapLine(lua_State* L);  ///< MapLine(from, to, radius, contact, result) -> touches
int pubLDebugDrawSegments(lua_State* L); ///< DebugDrawSegments()

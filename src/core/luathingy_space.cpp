// Engine functions for space mapping: moving points and discs against 2D walls.
#include "luathingy_api.h"

#include "drawjoin.h"
#include "lua_api.h"
#include "luathingy.h"
#include "strfuncs.h"

#include <cstdio>

namespace {

constexpr char kLineKind[] = "line2d";
constexpr int kFirstOutput = 4; // argument number of the first output table

SpaceMapper* mapperOf(lua_State* L) {
    LuaThingy* host = HostOf(L);
    if (!host || host->spaceMapper)
        return host ? host->spaceMapper : nullptr;
    if (!host->scratch.reportedNoMapper)
        printf("ERR: no space mapper, call SetSpaceMapper(1) first\n");
    host->scratch.reportedNoMapper = true;
    return nullptr;
}

// Reads the first values of a table in traversal order; anything but a table leaves the position as it is.
void readPosition(lua_State* L, int index, float (&position)[3]) {
    if (!lua_istable(L, index))
        return;
    lua_pushnil(L);
    for (float& value : position) {
        if (lua_next(L, index) == 0)
            return;
        value = ArgFloat(L, -1);
        lua_pop(L, 1);
    }
    lua_pop(L, 1);
}

void needTable(lua_State* L, int index, const char* function) {
    if (!lua_istable(L, index))
        luaL_error(L, "%s: argument %d is not a table", function, index);
}

// Keys are set as the script itself would set them, so tables with a metatable work too.
void writePair(lua_State* L, int index, const float (&pair)[2]) {
    for (int i = 0; i < 2; ++i) {
        lua_pushinteger(L, i + 1);
        lua_pushnumber(L, pair[i]);
        lua_settable(L, index);
    }
}

// The one routine behind MapPoint and MapLine, which differ in the mode and in the number of outputs.
int mapMotion(lua_State* L, bool asLine, int outputs, const char* function) {
    float from[3] = {}, motion[3] = {}, out[3][2] = {};
    readPosition(L, 1, from);
    readPosition(L, 2, motion);
    const float radius = ArgFloat(L, 3);
    SpaceMapper* mapper = mapperOf(L);
    const int touches = mapper ? mapper->MapPoint(from, motion, radius, out[0], out[1], out[2], asLine) : 0;
    for (int i = 0; i < outputs; ++i) {
        needTable(L, kFirstOutput + i, function);
        if (mapper)
            writePair(L, kFirstOutput + i, out[i]);
    }
    lua_pushinteger(L, touches);
    return 1;
}

} // namespace

int pubLSetSpaceMapper(lua_State* L) {
    const int kind = ArgInt(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->SetSpaceMapper(kind);
    return 0;
}

int pubLSet2DSpaceBounds(lua_State* L) {
    const bool hasCounts = NeedArgs(L, 4, "set2dspacebounds") > 4;
    const float low[] = {ArgFloat(L, 1), ArgFloat(L, 2)};
    const float high[] = {ArgFloat(L, 3), ArgFloat(L, 4)};
    const int columns = hasCounts ? ArgInt(L, 5) : 1;
    const int rows = hasCounts ? ArgInt(L, 6) : 1;
    // SetSpaceMapper makes no other kind of mapper.
    if (auto* mapper = static_cast<SpaceMapperLines2D*>(mapperOf(L)))
        mapper->SetSpaceBounds(low, high, columns, rows);
    return 0;
}

int pubLAddSpaceObject(lua_State* L) {
    const char* kind = ArgString(L, 1, "AddSpaceObject");
    if (!kind || !strequal(kind, kLineKind, true))
        return 0;
    SpMapLine2D line = {{ArgFloat(L, 2), ArgFloat(L, 3)}, {ArgFloat(L, 4), ArgFloat(L, 5)}, {0, 0}, 0};
    if (SpaceMapper* mapper = mapperOf(L))
        mapper->AddSpaceObject(kind, &line);
    return 0;
}

int pubLSpaceEvent(lua_State* L) {
    const char* name = ArgString(L, 1, "SpaceEvent");
    SpaceMapper* mapper = mapperOf(L);
    if (mapper && name)
        mapper->HandleEvent(name, nullptr);
    return 0;
}

int pubLSpaceReset(lua_State* L) {
    const bool keepGrid = ArgInt(L, 1) != 0;
    if (SpaceMapper* mapper = mapperOf(L))
        mapper->Reset(keepGrid);
    return 0;
}

int pubLMapPoint(lua_State* L) {
    return mapMotion(L, false, 3, "MapPoint");
}

int pubLMapLine(lua_State* L) {
    return mapMotion(L, true, 2, "MapLine");
}

int pubLDebugDrawSegments(lua_State* L) {
    SpaceMapper* mapper = mapperOf(L);
    if (!mapper)
        return 0;
    drawJoin.Sync();
    mapper->DebugDrawSegments();
    return 0;
}

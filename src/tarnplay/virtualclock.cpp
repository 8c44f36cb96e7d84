// What makes runs repeat exactly.
#include "virtualclock.h"

#include "lua_api.h"
#include "player.h"
#include "statememory.h"

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace {

constexpr double kEpoch = 946684800; // what os.time says when the script starts: 1 January 2000, 0:00 UTC

// ---- os functions. Upvalues: the clock, the library's function of that name ----

const VirtualClock& clockOf(lua_State* L) {
    return *static_cast<const VirtualClock*>(lua_touserdata(L, lua_upvalueindex(1)));
}

double today(lua_State* L) {
    return kEpoch + std::floor(clockOf(L).Seconds());
}

// Calls the library's function with what is on the stack.
int callLibrary(lua_State* L) {
    lua_pushvalue(L, lua_upvalueindex(2));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    return lua_gettop(L);
}

int osClock(lua_State* L) {
    lua_pushnumber(L, clockOf(L).Seconds());
    return 1;
}

int osTime(lua_State* L) {
    if (!lua_isnoneornil(L, 1))
        return callLibrary(L);
    lua_pushnumber(L, today(L));
    return 1;
}

int osDate(lua_State* L) {
    if (!lua_isnoneornil(L, 2))
        return callLibrary(L);
    lua_settop(L, 1);
    lua_pushstring(L, luaL_optstring(L, 1, "%c"));
    lua_replace(L, 1);
    lua_pushnumber(L, today(L));
    return callLibrary(L);
}

// Expects the table os on top of the stack.
void replaceInOs(lua_State* L, VirtualClock& clock, const char* name, lua_CFunction function) {
    lua_pushlightuserdata(L, &clock);
    lua_getfield(L, -2, name);
    lua_pushcclosure(L, function, 2);
    lua_setfield(L, -2, name);
}

void replaceTimes(lua_State* L, VirtualClock& clock) {
    lua_getglobal(L, "os");
    replaceInOs(L, clock, "clock", osClock);
    replaceInOs(L, clock, "time", osTime);
    replaceInOs(L, clock, "date", osDate);
    lua_pop(L, 1);
}

// ---- Random numbers ----

void startRandom(lua_State* L, unsigned seed) {
    srand(seed);
    lua_getglobal(L, "math");
    lua_getfield(L, -1, "randomseed");
    lua_pushnumber(L, seed);
    lua_call(L, 1, 0);
    lua_pop(L, 1);
}

// What LuaJIT compiles depends on where the system has room for machine code, and moves all later objects in
// memory. Interpreted, a script allocates the same each time.
void stopCompiler(lua_State* L) {
    if (luaL_dostring(L, "if jit then jit.off() end") != 0)
        lua_pop(L, 1);
}

class Repeatable : public Feature {
public:
    explicit Repeatable(Player& player) {
        if (!player.options.fixedClock)
            return;
        player.seams.clock = &clock;
        player.makeState = [this] { return newState(); };
#ifndef _WIN32
        setenv("TZ", "UTC0", 1); // dates repeat on other machines, too
        tzset();
#endif
    }

    void StateReady(Player& player) override {
        if (player.options.fixedClock)
            replaceTimes(player.luaState, clock);
        if (player.options.seed)
            startRandom(player.luaState, *player.options.seed);
    }

private:
    // The compiler is stopped before anything but the libraries has run.
    lua_State* newState() {
        lua_State* const state = memory.NewState();
        if (!state)
            return nullptr;
        luaL_openlibs(state);
        stopCompiler(state);
        return state;
    }

    VirtualClock clock;
    StateMemory memory;
};

} // namespace

std::unique_ptr<Feature> MakeRepeatable(Player& player) {
    return std::make_unique<Repeatable>(player);
}

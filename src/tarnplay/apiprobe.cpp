// Counting and timing the calls of engine functions.
#include "apiprobe.h"

#include "lua_api.h"
#include "luathingy_api.h"

#include <chrono>

ApiProbe apiProbe;

std::int64_t SteadyNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void ApiProbe::Install(lua_State* L) {
    lua_getfield(L, LUA_GLOBALSINDEX, EngineFunctionName(0));
    const bool present = lua_tocfunction(L, -1) == privCall;
    lua_pop(L, 1);
    if (present)
        return;
    costs.clear();
    for (int place = 0; const char* name = EngineFunctionName(place); ++place) {
        lua_getfield(L, LUA_GLOBALSINDEX, name);
        costs.push_back({name, lua_tocfunction(L, -1), 0, 0});
        lua_pop(L, 1);
    }
    // Only now: the closures keep addresses of the list's entries.
    for (ApiCost& cost : costs) {
        lua_pushlightuserdata(L, &cost);
        lua_pushcclosure(L, privCall, 1);
        lua_setfield(L, LUA_GLOBALSINDEX, cost.name);
    }
}

unsigned long ApiProbe::Calls() const {
    unsigned long sum = 0;
    for (const ApiCost& cost : costs)
        sum += cost.calls;
    return sum;
}

// The engine function runs in the probe's own call: it finds the script's arguments and leaves its results
// there.
int ApiProbe::privCall(lua_State* L) {
    auto* cost = static_cast<ApiCost*>(lua_touserdata(L, lua_upvalueindex(1)));
    ++cost->calls;
    ApiListener* const listener = apiProbe.listener;
    if (!listener)
        return cost->function(L);
    const std::int64_t begin = SteadyNow();
    const int results = cost->function(L);
    const std::int64_t end = SteadyNow();
    cost->nanoseconds += end - begin;
    listener->ApiCalled(*cost, begin, end);
    return results;
}

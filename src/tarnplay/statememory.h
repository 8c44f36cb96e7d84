// Lua states whose tables are iterated in the same order in each run of a program.
#pragma once

#include <cstddef>

struct lua_State;

// The order of pairs() follows from hashes: of addresses, for tables and functions as keys, and of the
// runtime's own random numbers, for strings. A state made here keeps its objects at the same addresses each
// time and is given the same random numbers.

/// Memory for Lua states, all of which must be closed before it dies. Each begins at the same address unless
/// one before is still open.
class StateMemory {
public:
    StateMemory();
    ~StateMemory();
    StateMemory(const StateMemory&) = delete;
    StateMemory& operator=(const StateMemory&) = delete;

    /// @return a state without libraries; its addresses are the library's where the system does not give
    /// those wanted; null without memory
    lua_State* NewState();

private:
    static constexpr int kClasses = 160;

    static void* reallocate(void* self, void* block, std::size_t oldSize, std::size_t newSize);
    void* take(std::size_t size);
    void giveBack(void* block, std::size_t size);

    char* begin;           // null when the addresses are taken
    std::size_t blocks;    // handed out now
    std::size_t used;      // bytes that have been handed out at least once
    void* spare[kClasses]; // lists of blocks given back, linked through their first word
};

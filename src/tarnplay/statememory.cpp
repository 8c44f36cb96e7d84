// An allocator at fixed addresses, and the random numbers that the Lua runtime asks the system for.
#include "statememory.h"

#include "lua_api.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <iterator>

#ifdef __linux__
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

// ---- The runtime's random numbers ----

#ifdef __GLIBC__
namespace {

thread_local bool entropyIsFixed = false;

using SystemCall = long (*)(long, ...);

SystemCall librarysSystemCall() {
    static std::atomic<SystemCall> found{nullptr};
    if (!found)
        found = reinterpret_cast<SystemCall>(dlsym(RTLD_NEXT, "syscall"));
    return found;
}

} // namespace

// LuaJIT asks the kernel for the numbers that decide the order of string keys, through this function of the C
// library, and offers no other way to them. The program's own definition is what every library then calls.
extern "C" long syscall(long number, ...) __THROW {
    long words[6];
    va_list list;
    va_start(list, number);
    for (long& word : words) // no call has more; what a shorter one has not is not looked at
        word = va_arg(list, long);
    va_end(list);
    if (number != SYS_getrandom || !entropyIsFixed)
        return librarysSystemCall()(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    memset(reinterpret_cast<void*>(words[0]), 0x5a, static_cast<std::size_t>(words[1]));
    return words[1];
}

static void fixEntropy(bool fixed) {
    entropyIsFixed = fixed;
}
#else
static void fixEntropy(bool) {}
#endif

// ---- Addresses ----

namespace {

constexpr std::size_t kReserved = std::size_t{32} << 30; // bytes; only what is touched needs memory

// Block sizes: steps of 16 bytes up to 1 KiB, above that four steps from each power of two to the next.
constexpr std::size_t kStep = 16;
constexpr std::size_t kSmall = 1024;
constexpr int kSmallClasses = kSmall / kStep;

struct BlockSize {
    int index;
    std::size_t bytes;
};

BlockSize blockFor(std::size_t size) {
    if (size <= kSmall) {
        const std::size_t steps = std::max<std::size_t>((size + kStep - 1) / kStep, 1);
        return {static_cast<int>(steps) - 1, steps * kStep};
    }
    int index = kSmallClasses;
    std::size_t power = kSmall;
    for (; size > 2 * power; power *= 2)
        index += 4;
    const std::size_t quarters = (size - power + power / 4 - 1) / (power / 4);
    return {index + static_cast<int>(quarters) - 1, power + quarters * (power / 4)};
}

// LuaJIT keeps a list of the upper halves of the program's addresses that it has been given (from bit 39).
// How many differ is up to the system: with these the list has grown before the first, and does not grow with
// them.
void makeRoomForPointers(lua_State* state) {
    for (std::uintptr_t upper = 1; upper <= 9; ++upper)
        lua_pushlightuserdata(state, reinterpret_cast<void*>(upper << 39));
    lua_settop(state, 0);
}

char* reserve() {
#if defined(__linux__) && defined(MAP_FIXED_NOREPLACE)
    // Far from where systems put programs, libraries and stacks.
    void* const wanted = reinterpret_cast<void*>(std::uintptr_t{0x200000000000});
    void* const given = mmap(wanted, kReserved, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
    if (given == wanted)
        return static_cast<char*>(given);
    if (given != MAP_FAILED)
        munmap(given, kReserved);
#endif
    return nullptr;
}

} // namespace

StateMemory::StateMemory() : begin(nullptr), blocks(0), used(0), spare() {}

StateMemory::~StateMemory() {
#ifdef __linux__
    if (begin)
        munmap(begin, kReserved);
#endif
}

lua_State* StateMemory::NewState() {
    if (!begin)
        begin = reserve();
    if (blocks == 0) {
        used = 0;
        std::fill(std::begin(spare), std::end(spare), nullptr);
    }
    fixEntropy(true);
    lua_State* const state = begin ? lua_newstate(reallocate, this) : luaL_newstate();
    fixEntropy(false);
    if (state)
        makeRoomForPointers(state);
    return state;
}

// As Lua's allocators work: a new size of 0 frees, no block allocates.
void* StateMemory::reallocate(void* self, void* block, std::size_t oldSize, std::size_t newSize) {
    StateMemory& memory = *static_cast<StateMemory*>(self);
    if (block && newSize > 0 && blockFor(oldSize).index == blockFor(newSize).index)
        return block;
    void* const moved = newSize > 0 ? memory.take(newSize) : nullptr;
    if (newSize > 0 && !moved)
        return nullptr;
    if (block && moved)
        memcpy(moved, block, std::min(oldSize, newSize));
    if (block)
        memory.giveBack(block, oldSize);
    return moved;
}

void* StateMemory::take(std::size_t size) {
    if (size > kReserved / 2)
        return nullptr;
    const BlockSize wanted = blockFor(size);
    void* block = spare[wanted.index];
    if (block) {
        memcpy(&spare[wanted.index], block, sizeof block);
    } else if (wanted.bytes <= kReserved - used) {
        block = begin + used;
        used += wanted.bytes;
    }
    blocks += block ? 1 : 0;
    return block;
}

void StateMemory::giveBack(void* block, std::size_t size) {
    const int index = blockFor(size).index;
    memcpy(block, &spare[index], sizeof block);
    spare[index] = block;
    --blocks;
}

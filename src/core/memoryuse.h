// How much memory the process holds: settings of the C library's heap, and pages that are not needed again.
// Only the GNU C library and Linux know these; elsewhere the functions do nothing.
#pragma once

#include <cstddef>

/// For the start of the program, whose peak is the graphics driver building its first programs, and of a
/// game: freed blocks from 64 KiB on go back to the system at once, and the heap grows by what is asked for.
void KeepHeapTight();

/// For the frames: freed blocks stay with the process, so that one that is needed again in each frame (the
/// copy of a large mesh, say) is not mapped and cleared anew each time.
void LetHeapGrow();

/// Lets the main thread's stack grow to 120 MB, if the system allows it. LuaJIT counts the calls of a script
/// but not the memory below: 500 nested calls of string.gsub fill the usual 8 MB, which ends the process, and
/// 6,500 of them fit into a Lua stack. Coroutines that start one another have a Lua stack each, so that they
/// still end it.
void AllowDeepCalls();

/// While one lives, the stack's limit is that from before AllowDeepCalls: for starting other programs, which
/// inherit it and give as much to each of their threads.
class UsualStackLimit {
public:
    UsualStackLimit();
    ~UsualStackLimit();
    UsualStackLimit(const UsualStackLimit&) = delete;
    UsualStackLimit& operator=(const UsualStackLimit&) = delete;
};

/// Lets go of the pages of the program's own code: what only its start needs is read from the file no more.
void DropCodePages();

/// Asks for large pages for a fresh block, if it has 4 MB or more: the system then hands it out in pieces of
/// 2 MB instead of 4 KB, each of which costs a fault at its first use.
void PreferLargePages(void* block, std::size_t n);

/// Lets go of the pages that lie within n bytes of the program's constants. They are read from the program's
/// file again should someone look at them.
void DropConstantPages(const void* bytes, std::size_t n);

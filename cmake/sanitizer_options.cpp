// Linked into the programs of sanitizer builds: defaults, which ASAN_OPTIONS still overrides.

// Without this the search for leaks crashes in some runs ("Tracer caught signal 11"). The sanitizers of GCC
// 12 and clang 14 note where the thread-local block of a loaded module lies when it is first used. If that is
// 16 bytes behind the start of a page they take the two words before it for a header of an old C library,
// with an address and a length, and later read there. The C library of today has no such header: the words
// are the heap's own. The graphics driver's shader compiler has such a block, and the number of allocations
// before it decides where it lies. Nothing is lost: the blocks are searched as what they are, allocations of
// the program loader.
extern "C" const char* __asan_default_options() {
    return "intercept_tls_get_addr=0";
}

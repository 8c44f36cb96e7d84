// Settings of the C library's heap, and pages of the program's file.
#include "memoryuse.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif
#ifdef __linux__
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>
#endif

#ifdef __GLIBC__
namespace {

constexpr int kTightBlock = 64 << 10; // bytes; blocks from here on get pages of their own
constexpr int kLargeBlock = 32 << 20; // the most that the library allows
constexpr int kTopRoom = 128 << 10;   // the library's own value

} // namespace

void KeepHeapTight() {
    mallopt(M_MMAP_THRESHOLD, kTightBlock);
    mallopt(M_TOP_PAD, 0);
}

void LetHeapGrow() {
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    mallopt(M_TRIM_THRESHOLD, 2 * kLargeBlock);
    mallopt(M_TOP_PAD, kTopRoom);
}
#else
void KeepHeapTight() {}

void LetHeapGrow() {}
#endif

#ifdef __linux__
// The linker's names for where the program's code begins and ends.
extern const char __executable_start, etext;

void DropConstantPages(const void* bytes, std::size_t n) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto start = reinterpret_cast<std::uintptr_t>(bytes);
    const std::uintptr_t first = (start + page - 1) / page * page;
    const std::uintptr_t end = (start + n) / page * page;
    if (first < end)
        madvise(reinterpret_cast<void*>(first), end - first, MADV_DONTNEED);
}

void DropCodePages() {
    DropConstantPages(&__executable_start, static_cast<std::size_t>(&etext - &__executable_start));
}
#else
void DropCodePages() {}

void DropConstantPages(const void*, std::size_t) {}
#endif

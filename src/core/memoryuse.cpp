// Settings of the C library's heap, and pages of the program's file.
#include "memoryuse.h"

#include <algorithm>

#ifdef __GLIBC__
#include <malloc.h>
#endif
#ifdef __linux__
#include <cstdint>
#include <sys/mman.h>
#include <sys/resource.h>
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

namespace {

constexpr std::size_t kLargeData = 4u << 20; // bytes from which large pages pay
constexpr rlim_t kDeepStack = 120u << 20;    // bytes; below a stack, systems keep 128 MB free at least
rlim_t usualStack = 0;                       // bytes; 0: the limit is not ours

// Advises about the pages that lie within n bytes.
void advise(const void* bytes, std::size_t n, int advice) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto start = reinterpret_cast<std::uintptr_t>(bytes);
    const std::uintptr_t first = (start + page - 1) / page * page;
    const std::uintptr_t end = (start + n) / page * page;
    if (first < end)
        madvise(reinterpret_cast<void*>(first), end - first, advice);
}

void limitStack(rlim_t bytes) {
    rlimit stack;
    if (getrlimit(RLIMIT_STACK, &stack) != 0)
        return;
    stack.rlim_cur = std::min(bytes, stack.rlim_max);
    setrlimit(RLIMIT_STACK, &stack);
}

} // namespace

void DropConstantPages(const void* bytes, std::size_t n) {
    advise(bytes, n, MADV_DONTNEED);
}

void PreferLargePages(void* block, std::size_t n) {
    if (n >= kLargeData)
        advise(block, n, MADV_HUGEPAGE);
}

void AllowDeepCalls() {
    rlimit stack;
    if (getrlimit(RLIMIT_STACK, &stack) != 0 || stack.rlim_cur >= kDeepStack)
        return;
    usualStack = stack.rlim_cur;
    limitStack(kDeepStack);
}

UsualStackLimit::UsualStackLimit() {
    if (usualStack != 0)
        limitStack(usualStack);
}

UsualStackLimit::~UsualStackLimit() {
    if (usualStack != 0)
        limitStack(kDeepStack);
}

void DropCodePages() {
    DropConstantPages(&__executable_start, static_cast<std::size_t>(&etext - &__executable_start));
}
#else
void AllowDeepCalls() {}

UsualStackLimit::UsualStackLimit() = default;
UsualStackLimit::~UsualStackLimit() = default;

void DropCodePages() {}

void DropConstantPages(const void*, std::size_t) {}

void PreferLargePages(void*, std::size_t) {}
#endif

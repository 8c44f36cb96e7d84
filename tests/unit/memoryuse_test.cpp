// The heap's settings for the start and for the frames, and constants whose pages were dropped.
#include "memoryuse.h"

#include <cstdlib>
#include <gtest/gtest.h>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#include <malloc.h>

namespace {

/// Whether a block of that size gets pages of its own.
bool hasOwnPages(std::size_t size) {
    const auto before = mallinfo2().hblks;
    void* volatile block = malloc(size);
    const auto after = mallinfo2().hblks;
    free(block);
    return after > before;
}

} // namespace

TEST(MemoryUseTest, LargeBlocksHaveOwnPagesDuringTheStartOnly) {
    KeepHeapTight();
    EXPECT_TRUE(hasOwnPages(24 << 20));
    LetHeapGrow();
    EXPECT_FALSE(hasOwnPages(24 << 20));
}
#endif

TEST(MemoryUseTest, DroppedConstantsAreReadAgain) {
    static const int constants[10000] = {1, 2, 3};
    DropConstantPages(constants, sizeof(constants));
    int sum = 0;
    for (const int& value : constants)
        sum += *const_cast<const volatile int*>(&value);
    EXPECT_EQ(6, sum);
    DropConstantPages(constants, 1); // no whole page
}

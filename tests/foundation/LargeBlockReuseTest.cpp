// Freed frames are kept and handed out again, with the alignment and the accounting of fresh
// blocks.

#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "foundation/Memory.h"

using namespace Vespra;

TEST(LargeBlockReuse, FreedFramesServeTheNextOfTheirSize) {
    constexpr std::size_t FRAME = std::size_t(1920) * 1080 * 16;
    const std::int64_t before = getAllocatedMemory();
    void* first = vespraMalloc(FRAME);
    std::memset(first, 0x5a, FRAME);
    vespraFree(first);
    EXPECT_EQ(getAllocatedMemory(), before);

    // The same frame again, and a slightly smaller one with a wider alignment, reuse it.
    void* second = vespraMalloc(FRAME);
    EXPECT_EQ(second, first);
    EXPECT_EQ(getAllocatedMemory() - before, std::int64_t(FRAME));
    vespraFree(second);
    void* aligned = vespraMalloc(FRAME - 4096, 64);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % 64, 0u);
    EXPECT_LT(static_cast<char*>(aligned) - static_cast<char*>(first), 128);
    std::memset(aligned, 0, FRAME - 4096);

    // A block of half the size does not take a kept frame: it would leave too much unused.
    void* kept = vespraMalloc(FRAME);
    vespraFree(aligned);
    void* half = vespraMalloc(FRAME / 2);
    EXPECT_NE(half, aligned);
    vespraFree(half);
    vespraFree(kept);
    EXPECT_EQ(getAllocatedMemory(), before);
}

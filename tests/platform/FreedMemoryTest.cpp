// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/FreedMemory.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <thread>

namespace corvanta {
namespace {

constexpr std::size_t largeBlock = 524'288;

/// How many blocks the allocator has mapped by themselves.
auto mappedBlocks() {
    return mallinfo2().hblks;
}

TEST(FreedMemory, aLargeBlockGoesBackHoweverOftenItIsTaken) {
    returnLargeBlocksAtOnce();
    std::thread([] {
        const auto before = mappedBlocks();
        for (int i = 0; i < 3; ++i) {
            void* volatile block = std::malloc(largeBlock);
            EXPECT_EQ(mappedBlocks(), before + 1) << i;
            std::free(block);
            EXPECT_EQ(mappedBlocks(), before) << i;
        }
    }).join();
}

}  // namespace
}  // namespace corvanta

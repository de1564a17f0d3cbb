// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/FreedMemory.h"

#include <malloc.h>

namespace corvanta {

void returnLargeBlocksAtOnce() {
    // The allocator starts with this size too, but raises it to that of the largest block ever freed. Blocks
    // below it come from the heap of their thread, which is kept when the thread has ended.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
}

}  // namespace corvanta

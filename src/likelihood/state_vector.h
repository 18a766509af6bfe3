#pragma once
// Vectors over the inheritance states: up to gigabytes, and always written before they are
// read. The system zeroes every page a program touches for the first time, which costs more
// than the arithmetic on the states in most pedigrees; so large vectors live on huge pages,
// their memory is kept for the next vector of a similar size when they are freed, and growing
// a vector leaves its new values unset rather than zeroing them.

#include <cstddef>
#include <vector>

#include "model/large_blocks.h"

namespace likelihood {

// Freed blocks kept for reuse, shared by every thread.
struct ReusedBlocks {
    static void* take(size_t bytes);
    static void give(void* block, size_t bytes);
};

using StateValues = std::vector<double, LargeBlockAllocator<double, ReusedBlocks>>;

}  // namespace likelihood

#include "likelihood/state_vector.h"

#include <unistd.h>

#include <algorithm>
#include <mutex>

namespace likelihood {

namespace {

// Freed large blocks, up to a quarter of the machine's memory, each handed to the next request
// it fits without wasting more than half of it.
class LargeBlocks {
public:
    ~LargeBlocks() {
        for (const Block& block : blocks) large_blocks::unmap(block.memory, block.bytes);
    }

    void* take(size_t bytes) {
        {
            std::lock_guard<std::mutex> guard(lock);
            auto best = blocks.end();
            for (auto it = blocks.begin(); it != blocks.end(); ++it)
                if (it->bytes >= bytes && it->bytes <= 2 * bytes && (best == blocks.end() || it->bytes < best->bytes))
                    best = it;
            if (best != blocks.end()) {
                char* const memory = static_cast<char*>(best->memory);
                // The block is given back under the size asked for now: its tail goes.
                if (best->bytes > bytes) large_blocks::unmap(memory + bytes, best->bytes - bytes);
                held -= best->bytes;
                blocks.erase(best);
                return memory;
            }
        }
        return large_blocks::map(bytes);
    }

    void give(void* memory, size_t bytes) {
        std::lock_guard<std::mutex> guard(lock);
        // The largest blocks go first when the cache is full.
        blocks.push_back({memory, bytes});
        held += bytes;
        std::sort(blocks.begin(), blocks.end(), [](const Block& a, const Block& b) { return a.bytes < b.bytes; });
        while (held > limit()) {
            large_blocks::unmap(blocks.back().memory, blocks.back().bytes);
            held -= blocks.back().bytes;
            blocks.pop_back();
        }
    }

private:
    struct Block {
        void* memory;
        size_t bytes;
    };
    static size_t limit() {
        const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGE_SIZE);
        return pages > 0 && pageSize > 0 ? static_cast<size_t>(pages) * static_cast<size_t>(pageSize) / 4
                                         : size_t(1) << 30;
    }
    std::mutex lock;
    std::vector<Block> blocks;
    size_t held = 0;
};

LargeBlocks& largeBlocks() {
    static LargeBlocks blocks;
    return blocks;
}

}  // namespace

void* ReusedBlocks::take(size_t bytes) { return largeBlocks().take(large_blocks::mappedSize(bytes)); }
void ReusedBlocks::give(void* block, size_t bytes) { largeBlocks().give(block, large_blocks::mappedSize(bytes)); }

}  // namespace likelihood

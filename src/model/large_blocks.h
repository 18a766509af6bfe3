#pragma once
// An allocator for the few blocks of megabytes to gigabytes that a run fills (the genotype
// store, a pedigree file's text, vectors over inheritance states). Such a block is mapped on
// its own and backed by huge pages where the system allows it: filling it then takes a page
// fault per 2 MB instead of one per 4 KB, and on a virtual machine each fault costs
// microseconds (32 MB of 4 KB pages took 0.1 s). Smaller blocks come from the heap as usual.
// Elements constructed without arguments are default-initialised, so a buffer that is always
// written before it is read is not zeroed first.

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace large_blocks {

inline constexpr std::size_t kHugePage = std::size_t{2} << 20;
// Below this a block is not worth a mapping of its own.
inline constexpr std::size_t kSmallest = std::size_t{1} << 20;

inline std::size_t mappedSize(std::size_t bytes) { return (bytes + kHugePage - 1) / kHugePage * kHugePage; }

// A mapping of mappedSize(bytes) at a huge page boundary, or null.
inline void* map(std::size_t bytes) {
    const std::size_t size = mappedSize(bytes);
    void* const mapped = ::mmap(nullptr, size + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    const auto start = reinterpret_cast<std::uintptr_t>(mapped);
    const std::uintptr_t aligned = (start + kHugePage - 1) / kHugePage * kHugePage;
    if (aligned > start) ::munmap(mapped, aligned - start);
    if (const std::size_t tail = start + kHugePage - aligned) ::munmap(reinterpret_cast<void*>(aligned + size), tail);
    ::madvise(reinterpret_cast<void*>(aligned), size, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(aligned);
}

inline void unmap(void* block, std::size_t bytes) { ::munmap(block, mappedSize(bytes)); }

// Each block mapped when asked for and returned to the system when freed.
struct FreshMappings {
    static void* take(std::size_t bytes) { return map(bytes); }
    static void give(void* block, std::size_t bytes) { unmap(block, bytes); }
};

}  // namespace large_blocks

// `Blocks::take(bytes)` gives a block of mappedSize(bytes) or null, `Blocks::give` takes it back.
template <class T, class Blocks = large_blocks::FreshMappings>
struct LargeBlockAllocator {
    using value_type = T;

    LargeBlockAllocator() = default;
    template <class U>
    LargeBlockAllocator(const LargeBlockAllocator<U, Blocks>&) {}

    T* allocate(std::size_t n) {
        const std::size_t bytes = n * sizeof(T);
        if (bytes < large_blocks::kSmallest) return static_cast<T*>(::operator new(bytes));
        void* const block = Blocks::take(bytes);
        if (!block) throw std::bad_alloc();
        return static_cast<T*>(block);
    }

    void deallocate(T* p, std::size_t n) {
        const std::size_t bytes = n * sizeof(T);
        if (bytes < large_blocks::kSmallest) ::operator delete(p);
        else Blocks::give(p, bytes);
    }

    template <class U>
    void construct(U* p) {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Arguments>
    void construct(U* p, Arguments&&... arguments) {
        ::new (static_cast<void*>(p)) U(std::forward<Arguments>(arguments)...);
    }

    template <class U>
    bool operator==(const LargeBlockAllocator<U, Blocks>&) const {
        return true;
    }
    template <class U>
    bool operator!=(const LargeBlockAllocator<U, Blocks>&) const {
        return false;
    }
};

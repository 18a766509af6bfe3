#pragma once
// Vectors over the inheritance states: up to gigabytes, and always written before they are
// read. The system zeroes every page a program touches for the first time, which costs more
// than the arithmetic on the states in most pedigrees; so large vectors live on 2 MB pages where
// the system allows it, their memory is kept for the next vector of a similar size when they
// are freed, and growing a vector leaves its new values unset rather than zeroing them.

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace likelihood {

// Memory of at least `bytes` (a multiple of 2 MB) for a large vector, and its return.
void* takeLargeBlock(size_t bytes);
void giveLargeBlock(void* block, size_t bytes);

template <class T>
struct StateAllocator {
    using value_type = T;
    static constexpr size_t kLargePage = size_t(1) << 21;

    StateAllocator() = default;
    template <class U>
    StateAllocator(const StateAllocator<U>&) {}

    T* allocate(size_t count) {
        const size_t bytes = count * sizeof(T);
        if (bytes < kLargePage) return static_cast<T*>(::operator new(bytes));
        return static_cast<T*>(takeLargeBlock(rounded(bytes)));
    }
    void deallocate(T* memory, size_t count) {
        const size_t bytes = count * sizeof(T);
        if (bytes < kLargePage) ::operator delete(memory);
        else giveLargeBlock(memory, rounded(bytes));
    }
    // Growing leaves values unset.
    template <class U>
    void construct(U* where) {
        ::new (static_cast<void*>(where)) U;
    }
    template <class U, class... Arguments>
    void construct(U* where, Arguments&&... arguments) {
        ::new (static_cast<void*>(where)) U(std::forward<Arguments>(arguments)...);
    }

    static size_t rounded(size_t bytes) { return (bytes + kLargePage - 1) / kLargePage * kLargePage; }

    template <class U>
    bool operator==(const StateAllocator<U>&) const { return true; }
    template <class U>
    bool operator!=(const StateAllocator<U>&) const { return false; }
};

using StateValues = std::vector<double, StateAllocator<double>>;

}  // namespace likelihood
